#include "saddlefit/reaction.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <cstddef>

namespace {

using namespace saddlefit;

constexpr std::uint8_t distancesOnly = 1;

/// What is held between the start and the finish of a reaction; one per process.
struct ReactionState {
    OwnedMol match;
    OwnedBlock<int> map; ///< one entry per atom that the molecule had at the start
    int mapped = 0;      ///< their number
};

ReactionState reaction;

/// Search with the held match lent out: it survives a search that does not get as far as to
/// replace it, and is released by one that does.
int searchInto(ReactionState &state, const char *path, Molecule *mol) {
    Molecule *match = state.match.get();
    int *map = state.map.get();
    const int found = mapDB(path, mol, &match, &map);
    if (match != state.match.get()) state.match.reset(match);
    if (map != state.map.get()) {
        state.map.reset(map);
        state.mapped = mol->atomCount;
    }
    return found;
}

/// Atoms that the host added since the start have no partner.
bool coverAtoms(ReactionState &state, int atomCount) {
    if (atomCount <= state.mapped) return true;
    int *map = state.map.release();
    const bool resized = resizeArray(map, static_cast<std::size_t>(atomCount));
    state.map.reset(map);
    if (!resized) return false;
    std::fill(map + state.mapped, map + atomCount, -1);
    state.mapped = atomCount;
    return true;
}

} // namespace

int startReaction(Molecule *mol, const char *path) {
    applyTransition(mol);
    if (!path) return 1;
    if (!searchInto(reaction, path, mol)) return 1;
    if (!reaction.match) return 0;
    constrainSub(mol, reaction.match.get(), reaction.map.get(), distancesOnly);
    return 1;
}

int finishReaction(Molecule *mol) {
    if (!reaction.match) return 0;
    if (coverAtoms(reaction, mol->atomCount))
        freezeSub(mol, reaction.match.get(), reaction.map.get());
    reaction.match.reset();
    reaction.map.reset();
    return 1;
}
