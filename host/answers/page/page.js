// Puts the parts together.

const answers = byId("answers").textContent.split("\n").filter(line => line.trim()).map(line => JSON.parse(line));
const player = new Player();

function show(answer, byClick) {
  byId("title").textContent = answer.title;
  byId("subtitle").textContent = [`reaction ${answer.record}`, shortCode(answer.code ?? ""), outcomeOf(answer)].filter(Boolean).join(" · ");
  byId("facts").replaceChildren(...reactionFacts(answer));
  player.show(answer);
  const isBelow = getComputedStyle(document.querySelector("main")).display === "block";
  if (byClick && isBelow) byId("reaction").scrollIntoView({ behavior: "smooth" });
}

byId("reaction").hidden = answers.length === 0;
const list = new List(answers, show);

const keys = {
  ArrowUp: () => list.step(-1),
  ArrowDown: () => list.step(1),
  PageUp: () => list.step(-10),
  PageDown: () => list.step(10),
  Home: () => list.step(-answers.length),
  End: () => list.step(answers.length),
  ArrowLeft: () => player.step(-1),
  ArrowRight: () => player.step(1),
  " ": () => player.playOrStop(),
  "/": () => byId("words").focus(),
};
document.addEventListener("keydown", event => {
  const inField = event.target.closest("input, select, textarea") !== null;
  const pressesButton = event.key === " " && event.target.closest("button") !== null;
  if (event.key === "Escape" && inField) return event.target.blur();
  if (inField || pressesButton || event.ctrlKey || event.altKey || event.metaKey || !(event.key in keys)) return;
  event.preventDefault();
  keys[event.key]();
});
