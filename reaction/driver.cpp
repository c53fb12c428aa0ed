#include "saddlefit/reaction.h"

#include "molecule/current.hpp"
#include "molecule/ranges.hpp"
#include "reaction/held_match.hpp"

#include <algorithm>
#include <cstddef>

namespace saddlefit {

namespace {

constexpr std::uint8_t distancesOnly = 1;

HeldMatch heldByProcess;

} // namespace

HeldMatch &HeldMatch::ofProcess() {
    return heldByProcess;
}

/// An exact match is not held: the molecule has its coordinates.
int HeldMatch::constrain(Molecule &mol) {
    if (!match_) return 0;
    constrainSub(&mol, match_.get(), map_.get(), distancesOnly);
    return 1;
}

int HeldMatch::finish(Molecule &mol) {
    if (!match_) return 0;
    if (coverAtoms(mol.atomCount)) freezeSub(&mol, match_.get(), map_.get());
    match_.reset();
    map_.reset();
    return 1;
}

/// Atoms that the host added since the start have no partner.
bool HeldMatch::coverAtoms(int atomCount) {
    if (atomCount <= mapped_) return true;
    int *map = map_.release();
    const bool resized = resizeArray(map, static_cast<std::size_t>(atomCount));
    map_.reset(map);
    if (!resized) return false;
    std::fill(map + mapped_, map + atomCount, -1);
    mapped_ = atomCount;
    return true;
}

} // namespace saddlefit

using namespace saddlefit;

int startReaction(Molecule *mol, const char *path) {
    applyTransition(mol);
    if (!path) return 1;
    return Current<HeldMatch>::state().start(
        *mol, [&](Molecule **match, int **map) { return mapDB(path, mol, match, map); });
}

int finishReaction(Molecule *mol) {
    return Current<HeldMatch>::state().finish(*mol);
}
