// The tables of one reaction. All text goes into the page as text, never as markup.

function element(name, { text, className, children = [] } = {}) {
  const made = document.createElement(name);
  if (text !== undefined) made.textContent = text;
  if (className) made.className = className;
  made.append(...children);
  return made;
}

/// Rows are arrays of texts or elements; a column is {head, className}.
function tableOf(columns, rows) {
  const cell = (name, content, className) =>
    content instanceof Node ? element(name, { children: [content], className }) : element(name, { text: content, className });
  const line = (name, contents) =>
    element("tr", { children: contents.map((content, i) => cell(name, content, columns[i].className)) });
  return element("table", { children: [
    element("thead", { children: [line("th", columns.map(column => column.head))] }),
    element("tbody", { children: rows.map(row => line("td", row)) })] });
}

const section = (heading, content) => [element("h3", { text: heading }), content];
const wide = table => element("div", { className: "wide", children: [table] });
const listOf = (texts, className) => element("ul", { className, children: texts.map(text => element("li", { text })) });
const orderText = type => (type === aromatic ? "aromatic" : String(type));

function changesTable(answer) {
  const [before, after] = sides.map(side => lengthsIn(answer, answer[side]?.atoms));
  const saddle = shownSaddle(answer), atSaddle = lengthsIn(answer, saddle?.atoms);
  const columns = [{ head: "Bond", className: "bond" }, { head: "" }, { head: "Order", className: "order" },
    { head: "Reactant", className: "number" }, { head: "Guess", className: "number guess" }, { head: "from", className: "source" },
    ...(saddle ? [{ head: "Saddle", className: "number" }] : []),
    { head: "Product", className: "number" }, { head: "Usual", className: "number" }];
  const rows = answer.changes.map((change, i) => [
    bondName(answer, change.atoms),
    element("span", { text: change.role, className: `role ${kindOf(change)}` }),
    `${orderText(change.before)} → ${orderText(change.after)}`,
    lengthText(before[i]), lengthText(change.length), change.source ?? "",
    ...[...(saddle ? [atSaddle[i]] : []), after[i], change.usual].map(lengthText)]);
  const table = wide(tableOf(columns, rows));
  table.id = "changes";
  return table;
}

const placements = {
  match: "by the match",
  lengths: "by the lengths that such bonds usually have",
};

const matchText = answer =>
  answer.match === null ? "nothing stored fits" : `${answer.match} (${answer.outcome === "exact" ? "the whole molecule" : "the reaction centre"})`;

/// What is null is not known and left out.
function factList(facts) {
  const known = Object.entries(facts).filter(([, value]) => value != null);
  return element("dl", { children: known.flatMap(([name, value]) => [element("dt", { text: name }), element("dd", { text: value })]) });
}

function answerFacts(answer) {
  return factList({
    "Match": matchText(answer),
    "Stage": answer.stage ?? "none answered",
    "Expected error": answer.expectedError === null ? "–" : `${expectedText(answer)} Å, mean over made and broken bonds`,
    "Confidence": answer.confidence,
    "Spread of matches": answer.spread === null ? null : `${lengthText(answer.spread)} Å`,
    "Centre placed": placements[answer.placement],
    "Rest relaxed by": answer.relaxed ?? "nothing",
    "Placed atoms": answer.frozen.map(atom => atomName(answer, atom)).join(" ") || null,
    "Charge": String(answer.charge),
    "Unpaired electrons": answer.unpaired ? String(answer.unpaired) : null,
  });
}

function saddleFacts({ saddle }) {
  const figure = (value, digits, unit) => (value == null ? null : `${value.toFixed(digits)} ${unit}`);
  return factList({
    "Outcome": saddle.outcome,
    "Reason": saddle.reason,
    "Barrier": figure(saddle.barrier, 2, "kcal/mol"),
    "Wavenumber": figure(saddle.wavenumber, 1, "cm⁻¹"),
    "Energy": figure(saddle.energy, 8, "hartree"),
    "Depth between steps": figure(saddle.depth, 2, "kcal/mol"),
    "Flat": saddle.flat ? "yes" : null,
    "Its reaction": shownSaddle({ saddle })?.reaction,
    "Level": saddle.level,
    "Gradients": String(saddle.gradients),
  });
}

function matchesTable(answer) {
  const matches = answer.search.at(-1)?.matches ?? [];
  const columns = [{ head: "Stored structure" }, { head: "Surroundings" }, { head: "Direction" }, { head: "Misfit", className: "number" },
    ...answer.changes.map(change => ({ head: bondName(answer, change.atoms), className: "number" }))];
  const rows = matches.map(match => [match.name, match.exact ? "whole molecule" : match.class, match.direction ?? "same",
    lengthText(match.misfit), ...answer.changes.map((_, i) => lengthText(match.lengths?.[i]))]);
  return rows.length ? wide(tableOf(columns, rows)) : null;
}

function pairingList(answer) {
  const rivals = answer.pairing?.rivals ?? [];
  return rivals.length ? listOf(rivals.map(rival => `${rival.changes}: ${rival.match}`)) : null;
}

/// All that is written about a reaction beside its picture.
function reactionFacts(answer) {
  if ("error" in answer) return [element("p", { text: answer.error, className: "error" })];
  const parts = [
    ["Changing bonds, their lengths in Å", changesTable(answer)],
    ["Strains", strainsOf(answer).length ? listOf(answer.strains, "doubt") : null],
    ["Warnings", answer.warnings.length ? listOf(answer.warnings, "doubt") : null],
    ["Saddle point", answer.saddle ? saddleFacts(answer) : null],
    ["Answer", answerFacts(answer)],
    ["Best matches, in Å", matchesTable(answer)],
    ["Other pairings of the atoms, with as few changes", pairingList(answer)],
  ];
  return parts.filter(([, content]) => content).flatMap(([heading, content]) => section(heading, content));
}
