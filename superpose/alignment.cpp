#include "superpose/alignment.hpp"

#include "saddlefit/vecmath.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"
#include "superpose/closed_form.hpp"
#include "superpose/frame.hpp"

#include <algorithm>
#include <vector>

using namespace saddlefit;

namespace {

/// Entries of a selection: what mapping codes call required, and skipped.
constexpr int selected = -7;
constexpr int skipped = -1;

bool isSelected(int mark) {
    return mark < skipped;
}

void readPosition(const Atom &atom, double *point) {
    point[0] = atom.x;
    point[1] = atom.y;
    point[2] = atom.z;
}

void transformAtoms(Molecule &mol, const double *matrix) {
    for (Atom &atom : atomsOf(mol)) {
        double point[3];
        readPosition(atom, point);
        V_Trans34d(point, matrix, point);
        atom.x = point[0];
        atom.y = point[1];
        atom.z = point[2];
    }
}

/// Give the transform to a caller who asks for it, else apply it.
void deliverTransform(Molecule &mol, const double *params, double *matrix) {
    if (matrix) return buildAlignMatrix(matrix, params);
    double local[16];
    buildAlignMatrix(local, params);
    transformAtoms(mol, local);
}

/// Without points there is no frame: the molecule stays, and its transform is the identity.
void deliverNothing(double *params, double *matrix) {
    std::fill_n(params, ALIGN_MISFIT + 1, 0.0);
    if (matrix) V_EmLoadIdentityd(matrix);
}

void clearFit(double *params) {
    std::fill(params + ALIGN_FIT_ANGLES, params + ALIGN_MISFIT + 1, 0.0);
}

int countSelected(const Molecule &mol, const int *select) {
    return static_cast<int>(std::ranges::count_if(countedSpan(select, mol.atomCount), isSelected));
}

/// Allocate the arrays for `count` points; without memory the state is an empty one.
void allocateState(AlignMapState &state, int count) {
    const std::size_t size = 3 * static_cast<std::size_t>(count);
    state.count = count;
    state.ref = allocateArray<double>(size);
    state.fit = allocateArray<double>(size);
    state.resid = allocateArray<double>(size);
    if (state.ref && state.fit && state.resid) return;
    alignMapEnd(&state);
    state.count = 0;
}

void readSelected(const Molecule &mol, const int *select, double *points) {
    for (int atom = 0; atom < mol.atomCount; ++atom) {
        if (!isSelected(select[atom])) continue;
        readPosition(mol.atoms[atom], points);
        points += 3;
    }
}

/// Read the partners that the map names, up to `capacity`; returns their number.
int readPartners(const Molecule &mol, std::span<const int> map, int capacity, double *points) {
    int count = 0;
    for (const int atom : map) {
        if (count == capacity) break;
        if (hasAtom(mol, atom)) readPosition(mol.atoms[atom], points + 3 * count++);
    }
    return count;
}

/// Share of the squared extent of both molecules by which rounding may take the squares of a
/// superposition below the exact optimum.
///
/// An alignment carries coordinates through a few dozen operations and never far away: the fit
/// starts in the standard frames, and the minimiser only lowers what it starts with. So an error is
/// at most some hundred units of rounding (1.1e-16) of the extent, some thousand after a dozen
/// alignments; it counts twice in a square. The sums over n pairs and the elimination add n units
/// each. This is a million units.
constexpr double roundingMargin = 1e-10;

double sumOfSquares(std::span<const double> values) {
    double sum = 0;
    for (const double value : values)
        sum += value * value;
    return sum;
}

/// Of the reference points, and of all atoms of the molecule: alignments by other maps round by
/// other atoms' distances.
double squaredExtent(const AlignMapState &pairs, const Molecule &mol) {
    double sum = sumOfSquares(countedSpan(pairs.ref, 3 * pairs.count));
    for (const Atom &atom : atomsOf(mol))
        sum += sumOfSquares(positionOf(atom));
    return sum;
}

} // namespace

bool saddlefit::alignmentMayBeat(double misfit, const Molecule &mol, std::span<const int> map,
                                 bool mirrored, const AlignMapState &state) {
    AlignMapState pairs = state;
    pairs.count = readPartners(mol, map, state.count, state.fit);
    if (mirrored)
        for (int i = 0; i < 3 * pairs.count; i += 3)
            pairs.fit[i] = -pairs.fit[i];
    const double root = misfit * pairs.count; // misfit = sqrt(squares) / count
    return squaresMayFallBelow(root * root, roundingMargin * squaredExtent(pairs, mol), pairs.ref,
                               pairs.fit, pairs.count);
}

void alignMapStart(Molecule *ref, const int *select, double *matrix, AlignMapState *state,
                   double *params) {
    allocateState(*state, countSelected(*ref, select));
    if (state->count == 0) return deliverNothing(params, matrix);

    readSelected(*ref, select, state->fit);
    align_mol(state->fit, state->count, params);
    clearFit(params);
    std::copy_n(state->fit, 3 * static_cast<std::size_t>(state->count), state->ref);
    deliverTransform(*ref, params, matrix);
}

double alignMapMol(Molecule *mol, const int *map, int nmap, double *matrix, AlignMapState *state,
                   double *params) {
    AlignMapState pairs = *state;
    pairs.count = readPartners(*mol, countedSpan(map, nmap), state->count, state->fit);
    if (pairs.count == 0) {
        deliverNothing(params, matrix);
        return 0;
    }
    align_mol(pairs.fit, pairs.count, params);
    clearFit(params);
    doSuperR(&pairs, params);
    deliverTransform(*mol, params, matrix);
    return params[ALIGN_MISFIT];
}

void alignMapEnd(AlignMapState *state) {
    releaseBlock(state->ref);
    releaseBlock(state->fit);
    releaseBlock(state->resid);
}

double alignMapMols(Molecule *ref, Molecule *mol, const int *map, double *refMatrix,
                    double *molMatrix) {
    return guarded(0.0, [&] {
        std::vector<int> select;
        for (const int atom : countedSpan(map, ref->atomCount))
            select.push_back(hasAtom(*mol, atom) ? selected : skipped);

        AlignMapState state;
        double params[ALIGN_PARAMS];
        alignMapStart(ref, select.data(), refMatrix, &state, params);
        const double misfit = alignMapMol(mol, map, ref->atomCount, molMatrix, &state, params);
        alignMapEnd(&state);
        return misfit;
    });
}
