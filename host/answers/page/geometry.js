// Structures are arrays of [x, y, z], in angstrom.

const distance = (a, b) => Math.hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
const mix = (a, b, share) => a.map((p, i) => p.map((x, k) => x + share * (b[i][k] - x)));

const middleOf = points => [0, 1, 2].map(k => points.reduce((all, p) => all + p[k], 0) / points.length);

/// Eigenvalues of a symmetric matrix, and its eigenvectors in rows, by Jacobi's rotations.
function eigen(symmetric) {
  const n = symmetric.length, a = symmetric.map(row => [...row]);
  const vectors = a.map((_, i) => a.map((_, k) => (i === k ? 1 : 0)));
  for (let sweep = 0; sweep < 30; ++sweep) {
    for (let p = 0; p < n; ++p) {
      for (let q = p + 1; q < n; ++q) {
        if (Math.abs(a[p][q]) < 1e-14) continue;
        const angle = 0.5 * Math.atan2(2 * a[p][q], a[q][q] - a[p][p]);
        const c = Math.cos(angle), s = Math.sin(angle);
        for (let k = 0; k < n; ++k) [a[k][p], a[k][q]] = [c * a[k][p] - s * a[k][q], s * a[k][p] + c * a[k][q]];
        for (let k = 0; k < n; ++k) [a[p][k], a[q][k]] = [c * a[p][k] - s * a[q][k], s * a[p][k] + c * a[q][k]];
        for (let k = 0; k < n; ++k) {
          [vectors[p][k], vectors[q][k]] = [c * vectors[p][k] - s * vectors[q][k], s * vectors[p][k] + c * vectors[q][k]];
        }
      }
    }
  }
  return { values: a.map((row, i) => row[i]), vectors };
}

function centred(points, weights) {
  const sum = weights.reduce((all, w) => all + w, 0);
  const middle = [0, 1, 2].map(k => points.reduce((all, p, i) => all + weights[i] * p[k], 0) / sum);
  return points.map(p => p.map((x, k) => x - middle[k]));
}

const turned = (points, rows) => points.map(p => rows.map(r => r[0] * p[0] + r[1] * p[1] + r[2] * p[2]));

/// Turned so that it lies flat on the screen, and longest from left to right.
function laidFlat(points, weights) {
  const around = centred(points, weights);
  const spread = [0, 1, 2].map(j => [0, 1, 2].map(k => around.reduce((all, p, i) => all + weights[i] * p[j] * p[k], 0)));
  const { values, vectors } = eigen(spread);
  const [x, y] = [0, 1, 2].sort((i, k) => values[k] - values[i]).map(i => vectors[i]);
  const z = [x[1] * y[2] - x[2] * y[1], x[2] * y[0] - x[0] * y[2], x[0] * y[1] - x[1] * y[0]]; // no mirror image
  return turned(around, [x, y, z]);
}

/// Moved and turned onto another structure of the same atoms: the quaternion of the best rotation is
/// the last eigenvector of Horn's matrix (J. Opt. Soc. Am. A 4, 629, 1987).
function superposed(points, target) {
  const equal = points.map(() => 1), from = centred(points, equal), to = centred(target, equal);
  const s = [0, 1, 2].map(j => [0, 1, 2].map(k => from.reduce((all, p, i) => all + p[j] * to[i][k], 0)));
  const [[xx, xy, xz], [yx, yy, yz], [zx, zy, zz]] = s;
  const { values, vectors } = eigen([
    [xx + yy + zz, yz - zy, zx - xz, xy - yx],
    [yz - zy, xx - yy - zz, xy + yx, zx + xz],
    [zx - xz, xy + yx, yy - xx - zz, yz + zy],
    [xy - yx, zx + xz, yz + zy, zz - xx - yy]]);
  const [w, x, y, z] = vectors[values.indexOf(Math.max(...values))];
  const rotation = [
    [w * w + x * x - y * y - z * z, 2 * (x * y - w * z), 2 * (x * z + w * y)],
    [2 * (x * y + w * z), w * w - x * x + y * y - z * z, 2 * (y * z - w * x)],
    [2 * (x * z - w * y), 2 * (y * z + w * x), w * w - x * x - y * y + z * z]];
  const offset = [0, 1, 2].map(k => target[0][k] - to[0][k]);
  return turned(from, rotation).map(p => p.map((t, k) => t + offset[k]));
}
