// Which structure of the chosen reaction is seen, and the way between them.

const byId = id => document.getElementById(id);
const secondsPerStation = 1.4;

class Player {
  constructor() {
    const can = hasWebGL();
    byId("view").hidden = !can;
    byId("no-view").hidden = can;
    byId("picture").querySelector("figcaption").hidden = !can;
    if (!can) return;
    this.picture = new Picture(byId("view"));
    byId("play").addEventListener("click", () => this.playOrStop());
    byId("numbers").addEventListener("change", () => this.draw());
    byId("progress").addEventListener("input", event => this.go(Number(event.target.value)));
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.draw());
  }

  show(answer) {
    if (!this.picture) return;
    this.stop();
    byId("picture").classList.toggle("away", "error" in answer);
    this.answer = "error" in answer ? null : answer;
    if (!this.answer) return;
    Object.assign(this, stillsOf(answer));
    byId("progress").max = this.path.length - 1;
    byId("motion").hidden = this.path.length < 2;
    byId("stills").replaceChildren(...[...this.path, ...this.others].map(still => this.buttonOf(still)));
    const guess = this.path.find(still => still.name === "Guess");
    this.choose(guess);
    this.picture.fit([guess, ...this.path].map(still => still.points));
  }

  buttonOf(still) {
    const button = document.createElement("button");
    button.type = "button";
    button.textContent = still.name;
    button.addEventListener("click", () => {
      this.stop();
      this.choose(still);
    });
    return button;
  }

  choose(still) {
    const station = this.path.indexOf(still);
    if (station >= 0) byId("progress").value = station;
    this.see(still);
  }

  /// To a place on the path: 0 is its first station.
  go(place) {
    const station = Math.min(Math.floor(place), this.path.length - 2), share = place - station;
    if (share === 0 || share === 1) return this.see(this.path[place]);
    const points = mix(this.path[station].points, this.path[station + 1].points, share);
    this.see({ name: "between", bonds: this.moving, points });
  }

  see(still) {
    this.seen = still;
    byId("view").dataset.structure = still.name;
    byId("view").setAttribute("aria-label", `${still.name} of ${this.answer.title}`);
    [...byId("stills").children].forEach(button => button.setAttribute("aria-pressed", button.textContent === still.name));
    this.draw();
  }

  draw() {
    if (!this.answer) return;
    this.picture.draw(this.answer, this.seen.points, this.seen.bonds, byId("numbers").checked);
  }

  /// To the next structure, or the one before.
  step(by) {
    if (!this.answer || !this.picture) return;
    const stills = [...this.path, ...this.others], at = stills.findIndex(still => still.name === this.seen.name);
    this.stop();
    this.choose(stills[Math.max(0, Math.min(stills.length - 1, at + by))]);
  }

  playOrStop() {
    if (this.frame) return this.stop();
    if (!this.answer || !this.picture || this.path.length < 2) return;
    byId("play").setAttribute("aria-pressed", true);
    byId("play").textContent = "Stop";
    const last = this.path.length - 1, begin = Number(byId("progress").value), start = performance.now();
    const next = now => {
      const way = (begin + (now - start) / 1000 / secondsPerStation) % (2 * last);
      byId("progress").value = way > last ? 2 * last - way : way;
      this.go(Number(byId("progress").value));
      this.frame = requestAnimationFrame(next);
    };
    this.frame = requestAnimationFrame(next);
  }

  stop() {
    if (!this.frame) return;
    cancelAnimationFrame(this.frame);
    this.frame = null;
    byId("play").setAttribute("aria-pressed", false);
    byId("play").textContent = "Animate";
  }
}
