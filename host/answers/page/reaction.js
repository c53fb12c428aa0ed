// What there is to say and to draw of one reaction.

const outcomes = ["exact", "partial", "none", "failed"];
const sides = ["reactant", "product"];

const outcomeOf = answer => ("error" in answer ? "failed" : answer.outcome);
const strainsOf = answer => answer.strains ?? [];
const countOf = (number, what) => `${number} ${what}${number === 1 ? "" : "s"}`;
const lengthText = length => (length == null ? "–" : length.toFixed(3));
const expectedText = answer => (answer.expectedError == null ? "–" : answer.expectedError.toFixed(2));

const atomName = (answer, atom) => answer.atoms[atom - 1].symbol + atom;
const bondName = (answer, atoms) => atoms.map(atom => atomName(answer, atom)).join("–");
const positionsOf = atoms => atoms.map(atom => atom.position);

/// "forms", "breaks" or "changes", where only the order does.
const kindOf = change => (change.role === "forms" || change.role === "breaks" ? change.role : "changes");

/// Lengths of the changing bonds in a structure; nothing where there is none.
const lengthsIn = (answer, atoms) =>
  answer.changes.map(({ atoms: [a, b] }) => (atoms ? distance(atoms[a - 1].position, atoms[b - 1].position) : null));

/// The code with like pairs of elements counted, in hyphens that end no line: "C-C ×4, C-O ×2".
function shortCode(code) {
  const counts = new Map();
  for (const pair of code.replaceAll("-", "\u2011").split(" ").filter(Boolean)) counts.set(pair, (counts.get(pair) ?? 0) + 1);
  return [...counts].map(([pair, count]) => (count > 1 ? `${pair}\u00a0×${count}` : pair)).join(", ");
}

const pairKey = ([a, b]) => `${Math.min(a, b)} ${Math.max(a, b)}`;

/// The bonds that both sides have, with a single one where the order changes; those of the transition
/// state where the sides are not known.
function lastingBonds(answer) {
  if (!answer.reactant) return answer.bonds.filter(([, , type]) => type > 0);
  const changing = new Set(answer.changes.map(change => pairKey(change.atoms)));
  const after = new Set(answer.product.bonds.map(pairKey));
  return answer.reactant.bonds.filter(bond => after.has(pairKey(bond)))
    .map(([a, b, type]) => [a, b, changing.has(pairKey([a, b])) ? 1 : type]);
}

/// The searches whose saddle points lead from the reactant to the product; the one that is shown where
/// there is no such way.
function saddlesOf({ saddle }) {
  if (!saddle) return [];
  const numbers = saddle.route.length ? saddle.route : saddle.shown === null ? [] : [saddle.shown];
  return numbers.map(number => saddle.attempts[number - 1]);
}

const shownSaddle = ({ saddle }) => (saddle?.shown ? saddle.attempts[saddle.shown - 1] : null);

/// Still structures in one frame: {name, points, bonds}, and the animation's stations among them.
function stillsOf(answer) {
  const centre = new Set(answer.changes.flatMap(change => change.atoms));
  const guess = laidFlat(positionsOf(answer.atoms), answer.atoms.map((_, i) => (centre.has(i + 1) ? 5 : 1)));
  const still = (name, atoms, bonds) => ({ name, bonds, points: superposed(positionsOf(atoms), guess) });
  const side = key => {
    const structure = answer[key];
    return structure?.atoms ? [still(key === "reactant" ? "Reactant" : "Product", structure.atoms, structure.bonds)] : [];
  };
  const bonds = lastingBonds(answer);
  const path = [...side("reactant"), { name: "Guess", bonds, points: guess }, ...side("product")];
  const others = (answer.flanks ?? []).map(flank => still(`Guess like ${flank.like}`, flank.atoms, bonds));
  const saddles = saddlesOf(answer), step = i => (saddles.length > 1 ? ` ${i + 1} of ${saddles.length}` : "");
  others.push(...saddles.map((saddle, i) => still(`Saddle point${step(i)}`, saddle.atoms, bonds)));
  return { path, others, moving: bonds };
}
