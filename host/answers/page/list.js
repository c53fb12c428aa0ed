// The table of all reactions, its filters and its order.

const none = Number.POSITIVE_INFINITY;
const expectedOrder = answer => (answer.outcome === "exact" ? 0 : answer.expectedError ?? none);
const byNumber = key => (a, b) => (key(a) === key(b) ? 0 : key(a) - key(b)); // also of infinite ones
const orders = {
  "input": byNumber(answer => answer.record),
  "expected error": byNumber(expectedOrder),
  "expected error, worst first": byNumber(answer => (expectedOrder(answer) === none ? none : -expectedOrder(answer))),
  "outcome": byNumber(answer => outcomes.indexOf(outcomeOf(answer))),
  "barrier": byNumber(answer => answer.saddle?.barrier ?? none),
  "strain": byNumber(answer => -strainsOf(answer).length),
  "title": (a, b) => a.title.localeCompare(b.title, undefined, { numeric: true }),
};

function notesOf(answer) {
  const notes = [];
  if (strainsOf(answer).length) notes.push(countOf(answer.strains.length, "strain"));
  if (answer.warnings?.length) notes.push(countOf(answer.warnings.length, "warning"));
  return notes.join(", ");
}

const barrierText = answer => answer.saddle?.barrier?.toFixed(1) ?? "";

const listColumns = [
  { head: "#", className: "number", text: answer => answer.record },
  { head: "Reaction", className: "title", text: answer => answer.title },
  { head: "Bonds", className: "code", text: answer => shortCode(answer.code ?? "") },
  { head: "Outcome", className: "outcome", text: outcomeOf },
  { head: "Error, Å", className: "number", text: expectedText },
  { head: "Saddle", className: "saddle", text: answer => answer.saddle?.outcome ?? "", wanted: answer => answer.saddle },
  { head: "kcal/mol", className: "number", text: barrierText, wanted: answer => answer.saddle },
  { head: "Notes", className: "notes", text: notesOf },
];

class List {
  /// Calls `choose` with each answer that is chosen, and whether a click chose it.
  constructor(answers, choose) {
    this.columns = listColumns.filter(({ wanted }) => !wanted || answers.some(wanted));
    this.chooseAnswer = choose;
    byId("filters").hidden = answers.length === 0;
    this.entries = answers.map(answer => ({ answer, words: this.wordsOf(answer), row: this.rowOf(answer) }));
    this.entries.forEach(entry => entry.row.addEventListener("click", () => this.choose(entry, true)));
    byId("reactions").tHead.rows[0].append(...this.columns.map(({ head, className }) => element("th", { text: head, className })));
    byId("order").append(...Object.keys(orders).map(name => element("option", { text: name })));
    byId("outcomes").append(...outcomes.filter(outcome => answers.some(answer => outcomeOf(answer) === outcome)).map(outcome => this.boxOf(outcome)));
    for (const event of ["input", "change"]) byId("filters").addEventListener(event, () => this.update());
    byId("filters").addEventListener("submit", event => event.preventDefault());
    this.update();
  }

  wordsOf(answer) {
    return [answer.title, answer.code, answer.match].filter(Boolean).join("\n").toLowerCase();
  }

  rowOf(answer) {
    const row = element("tr", { children: this.columns.map(({ className, text }) => element("td", { className, text: text(answer) })) });
    row.tabIndex = -1;
    row.querySelector(".outcome").classList.add(outcomeOf(answer));
    return row;
  }

  boxOf(outcome) {
    const box = element("input");
    Object.assign(box, { type: "checkbox", checked: true, value: outcome });
    return element("label", { className: "field", children: [box, outcome] });
  }

  isWanted({ answer, words }) {
    const most = byId("most").value, wanted = this.filter;
    return wanted.words.every(word => words.includes(word)) && wanted.outcomes.has(outcomeOf(answer))
      && (most === "" || expectedOrder(answer) <= Number(most)) && (!wanted.strained || strainsOf(answer).length > 0);
  }

  update() {
    const boxes = [...byId("outcomes").querySelectorAll("input")];
    this.filter = {
      words: byId("words").value.toLowerCase().split(/\s+/).filter(Boolean),
      outcomes: new Set(boxes.filter(box => box.checked).map(box => box.value)),
      strained: byId("strained").checked,
    };
    const compare = orders[byId("order").value];
    this.shown = this.entries.filter(entry => this.isWanted(entry)).sort((a, b) => compare(a.answer, b.answer));
    byId("reactions").tBodies[0].replaceChildren(...this.shown.map(entry => entry.row));
    byId("nothing").hidden = this.shown.length > 0 || this.entries.length === 0;
    this.summarise();
    if (!this.shown.includes(this.chosen) && this.shown.length) this.choose(this.shown[0]);
  }

  summarise() {
    const counts = outcomes.map(outcome => [this.entries.filter(({ answer }) => outcomeOf(answer) === outcome).length, outcome]);
    const all = countOf(this.entries.length, "reaction");
    const parts = counts.filter(([count]) => count).map(([count, outcome]) => `${count} ${outcome}`);
    const left = this.shown.length < this.entries.length ? ` · ${this.shown.length} shown` : "";
    byId("summary").textContent = `${[all, ...parts].join(" · ")}${left}`;
  }

  choose(entry, byClick = false) {
    this.chosen?.row.setAttribute("aria-selected", false);
    this.chosen = entry;
    entry.row.setAttribute("aria-selected", true);
    entry.row.scrollIntoView({ block: "nearest", inline: "start" });
    this.chooseAnswer(entry.answer, byClick);
  }

  step(by) {
    const at = this.shown.indexOf(this.chosen) + by;
    if (this.shown.length) this.choose(this.shown[Math.max(0, Math.min(this.shown.length - 1, at))]);
  }
}
