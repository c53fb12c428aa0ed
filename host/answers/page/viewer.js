// The one picture. A browser gives a page few contexts of WebGL, so all reactions share it.

const hasWebGL = () => {
  try {
    const context = document.createElement("canvas").getContext("webgl2");
    context?.getExtension("WEBGL_lose_context")?.loseContext();
    return context !== null;
  } catch {
    return false;
  }
};

const colourOf = name => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
const dashes = { forms: [0.12, 0.1], breaks: [0.24, 0.12], changes: [0.06, 0.07] }; // and gaps, in angstrom
const aromatic = 5;
const camera = { distance: 150, halfAngle: 10 * Math.PI / 180 }; // the viewer's own

class Picture {
  constructor(element) {
    this.element = element;
    this.viewer = $3Dmol.createViewer(element, { disableFog: true, antialias: true, upscale: false });
  }

  /// Draws a structure of the answer. The camera stays where it is.
  draw(answer, points, bonds, numbers) {
    this.colours = Object.fromEntries(
      ["forms", "breaks", "changes", "accent", "ink", "panel", "carbon", "hydrogen"].map(name => [name, colourOf(name)]));
    this.clear();
    this.addAtoms(answer, points, bonds);
    this.addFrozen(answer, points);
    const middle = middleOf(answer.changes.flatMap(change => change.atoms.map(atom => points[atom - 1])));
    for (const change of answer.changes) this.addChange(change, points, middle);
    if (numbers) this.addNumbers(answer, points);
    this.viewer.render();
  }

  clear() {
    this.viewer.removeAllModels();
    this.viewer.removeAllShapes();
    this.viewer.removeAllLabels(); // renders, but there is not much left
    if (this.background === this.colours.panel) return;
    this.background = this.colours.panel;
    this.viewer.setBackgroundColor(this.background);
  }

  /// Sets the camera so that the first structure is seen whole, and the others as far as they keep to
  /// its surroundings.
  fit(structures) {
    const around = 1.5, margin = 0.9; // angstrom
    const [low, high] = [Math.min, Math.max].map(end => [0, 1, 2].map(k => {
      const own = end(...structures[0].map(p => p[k])), all = end(...structures.flat().map(p => p[k]));
      return Math.max(own - around, Math.min(own + around, all));
    }));
    const half = high.map((x, k) => (x - low[k]) / 2), aspect = this.element.clientWidth / this.element.clientHeight;
    const away = Math.max(half[1] + margin, (half[0] + margin) / aspect) / Math.tan(camera.halfAngle) + half[2];
    this.viewer.zoomTo(); // for its clipping planes
    this.viewer.setView([...high.map((x, k) => half[k] - x), camera.distance - away, 0, 0, 0, 1]);
  }

  addAtoms(answer, points, bonds) {
    const atoms = answer.atoms.map(({ symbol }, i) => {
      const [x, y, z] = points[i];
      return { elem: symbol, x, y, z, serial: i, bonds: [], bondOrder: [] };
    });
    for (const [a, b, type] of bonds) {
      for (const [from, to] of [[a - 1, b - 1], [b - 1, a - 1]]) {
        atoms[from].bonds.push(to);
        atoms[from].bondOrder.push(type === aromatic ? 1.5 : Math.max(1, Math.min(type, 3)));
      }
    }
    const model = this.viewer.addModel();
    model.addAtoms(atoms);
    const own = { C: this.colours.carbon, H: this.colours.hydrogen };
    const colorfunc = atom => own[atom.elem] ?? $3Dmol.elementColors.defaultColors[atom.elem] ?? 0x808080;
    model.setStyle({}, { stick: { radius: 0.1, colorfunc }, sphere: { scale: 0.23, colorfunc } });
    model.setStyle({ elem: "H" }, { stick: { radius: 0.1, colorfunc }, sphere: { scale: 0.19, colorfunc } });
  }

  addFrozen(answer, points) {
    for (const atom of answer.frozen) {
      this.viewer.addSphere({ center: this.vector(points[atom - 1]), radius: 0.5, color: this.colours.accent, opacity: 0.3 });
    }
  }

  /// The length stands beside the bond, away from the middle of the others.
  addChange(change, points, middle) {
    const ends = change.atoms.map(atom => points[atom - 1]), [start, end] = ends.map(this.vector);
    const half = middleOf(ends), out = [half[0] - middle[0], half[1] - middle[1]], size = Math.hypot(...out);
    const offset = size > 0.1 ? out.map(x => (0.5 * x) / size) : [0, 0.5];
    const kind = kindOf(change), [dashLength, gapLength] = dashes[kind], color = this.colours[kind];
    this.viewer.addCylinder({ start, end, radius: 0.13, dashed: true, dashLength, gapLength, color, fromCap: 1, toCap: 1 });
    this.addLabel(distance(...ends).toFixed(2), this.vector([half[0] + offset[0], half[1] + offset[1], half[2]]), {
      fontColor: color, fontSize: 15 });
  }

  addNumbers(answer, points) {
    answer.atoms.forEach((_, i) => this.addLabel(atomName(answer, i + 1), this.vector(points[i]), {
      fontColor: this.colours.ink, fontSize: 12 }));
  }

  addLabel(text, position, style) {
    const look = { position, font: "sans-serif", alignment: "center", inFront: true, showBackground: false, ...style };
    this.viewer.addLabel(text, look, undefined, true); // seen with the next rendering
  }

  vector([x, y, z]) {
    return { x, y, z };
  }
}
