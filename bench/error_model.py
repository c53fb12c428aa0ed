"""The expected error of answers: its coefficients, and how well it foretells the true errors."""
import re

import numpy as np

SMALLEST = 0.01  # angstrom; smaller errors are taken as alike
RIDGE = 10.0  # in units of one reaction, on standardised terms
TENTHS = 10


class Sample:
    """Answers with an expected error, their terms and their true errors."""

    def __init__(self, rows):
        """`rows` holds (fold, terms by name, mean error of made and broken bonds)."""
        self.names = list(rows[0][1])
        self.folds = np.array([fold for fold, _, _ in rows])
        self.terms = np.array([[terms[name] for name in self.names] for _, terms, _ in rows])
        self.errors = np.array([error for _, _, error in rows])

    def part(self, chosen):
        part = object.__new__(Sample)
        part.names, part.folds = self.names, self.folds[chosen]
        part.terms, part.errors = self.terms[chosen], self.errors[chosen]
        return part


def coefficients(sample):
    """Ridge regression of the logarithm of the error; the constant, the first term, is not held
    down, and shifted so that the mean expected error is the mean error."""
    scale = sample.terms.std(axis=0)
    scale[scale == 0] = 1
    terms = (sample.terms - sample.terms.mean(axis=0)) / scale
    terms[:, 0] = 1
    penalty = RIDGE * np.eye(len(sample.names))
    penalty[0, 0] = 0
    logarithms = np.log(sample.errors + SMALLEST)
    values = np.linalg.solve(terms.T @ terms + penalty, terms.T @ logarithms)
    values[1:] /= scale[1:]
    values[0] -= values[1:] @ sample.terms.mean(axis=0)[1:]
    values[0] += np.log(sample.errors.mean() / np.exp(sample.terms @ values).mean())
    return values


def crossvalidated(sample):
    """Each answer's expected error by the coefficients of the other folds."""
    expected = np.empty(len(sample.errors))
    for fold in set(sample.folds):
        own = sample.folds == fold
        expected[own] = np.exp(sample.terms[own] @ coefficients(sample.part(~own)))
    return expected


def rank_correlation(a, b):
    def ranks(values):
        return np.argsort(np.argsort(values, kind="stable"))

    return np.corrcoef(ranks(a), ranks(b))[0, 1]


def tenths(expected, errors):
    """Answers by expected error, parted into ten: number, mean expected, mean and median error."""
    for part in np.array_split(np.argsort(expected, kind="stable"), TENTHS):
        yield len(part), expected[part].mean(), errors[part].mean(), np.median(errors[part])


def write_coefficients(header, sample):
    text = header.read_text()
    for name, value in zip(sample.names, coefficients(sample)):
        text, found = re.subn(rf'(\{{"{name}", )[^}}]*\}}', rf"\g<1>{value:.4f}}}", text)
        if found != 1:
            raise SystemExit(f"{header}: has no coefficient of {name}; write a row for it")
    header.write_text(text)


def plot(expected, errors):
    """Mean true error over mean expected error by tenth, as an SVG."""
    points = [(e, t) for _, e, t, _ in tenths(expected, errors)]
    size, margin, top = 360, 60, 1.1 * max(max(point) for point in points)

    def at(expected_error, error):
        return f"{margin + size * expected_error / top:.1f},{20 + size * (1 - error / top):.1f}"

    svg = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{size + margin + 20}" height="{size + 70}" '
        'font-family="sans-serif" font-size="12">',
        '<rect width="100%" height="100%" fill="white"/>',
        f'<polyline points="{at(0, 0)} {at(top, top)}" stroke="#ddd"/>',
        f'<polyline points="{at(0, top)} {at(0, 0)} {at(top, 0)}" fill="none" stroke="#888"/>',
    ]
    for tick in np.arange(0.1, top, 0.1):
        x, y = at(tick, 0).split(",")
        svg.append(f'<text x="{x}" y="{float(y) + 16:.1f}" text-anchor="middle">{tick:.1f}</text>')
        x, y = at(0, tick).split(",")
        svg.append(f'<text x="{float(x) - 8:.1f}" y="{y}" text-anchor="end">{tick:.1f}</text>')
    svg.append(
        f'<text x="{margin + size / 2}" y="{size + 60}" text-anchor="middle">'
        "expected error, angstrom (means of tenths)</text>"
    )
    svg.append(f'<text x="{margin + 8}" y="32">true error, angstrom</text>')
    svg.append(f'<polyline points="{" ".join(at(*p) for p in points)}" fill="none" stroke="#1f77b4"/>')
    for point in points:
        x, y = at(*point).split(",")
        svg.append(f'<circle cx="{x}" cy="{y}" r="4" fill="#1f77b4"/>')
    return "\n".join(svg + ["</svg>", ""])
