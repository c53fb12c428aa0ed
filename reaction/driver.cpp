#include "saddlefit/reaction.h"

#include "molecule/current.hpp"
#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"
#include "reaction/held_match.hpp"

#include <algorithm>
#include <cstddef>

using namespace saddlefit;

namespace {

HeldMatch heldByProcess;

constexpr std::uint8_t distancesOnly = 1;

/// Search with the held match lent out: it survives a search that does not get as far as to
/// replace it, and is released by one that does.
int searchInto(HeldMatch &held, const char *path, Molecule *mol) {
    Molecule *match = held.match.get();
    int *map = held.map.get();
    const int found = mapDB(path, mol, &match, &map);
    if (match != held.match.get()) held.match.reset(match);
    if (map != held.map.get()) {
        held.map.reset(map);
        held.mapped = mol->atomCount;
    }
    return found;
}

/// Atoms that the host added since the start have no partner.
bool coverAtoms(HeldMatch &held, int atomCount) {
    if (atomCount <= held.mapped) return true;
    int *map = held.map.release();
    const bool resized = resizeArray(map, static_cast<std::size_t>(atomCount));
    held.map.reset(map);
    if (!resized) return false;
    std::fill(map + held.mapped, map + atomCount, -1);
    held.mapped = atomCount;
    return true;
}

} // namespace

HeldMatch &HeldMatch::ofProcess() {
    return heldByProcess;
}

int startReaction(Molecule *mol, const char *path) {
    applyTransition(mol);
    if (!path) return 1;
    HeldMatch &held = Current<HeldMatch>::state();
    if (!searchInto(held, path, mol)) return 1;
    if (!held.match) return 0;
    constrainSub(mol, held.match.get(), held.map.get(), distancesOnly);
    return 1;
}

int finishReaction(Molecule *mol) {
    HeldMatch &held = Current<HeldMatch>::state();
    if (!held.match) return 0;
    if (coverAtoms(held, mol->atomCount)) freezeSub(mol, held.match.get(), held.map.get());
    held.match.reset();
    held.map.reset();
    return 1;
}
