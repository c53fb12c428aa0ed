#include "saddlefit/host.h"
#include "saddlefit/matching.h"
#include "saddlefit/reaction.h"

#include "molecule/ranges.hpp"

int C_startReaction(Molecule *mol, const char *path) {
    return mol ? startReaction(mol, path) : 0;
}

int C_finishReaction(Molecule *mol) {
    return mol ? finishReaction(mol) : 0;
}

int C_getRS(Molecule *mol, int *rs) {
    if (!mol || (!rs && mol->atomCount > 0)) return 0;
    for (int atom = 0; atom < mol->atomCount; ++atom) {
        rs[atom] = getRS(mol, atom);
        if (rs[atom] == saddlefit::failed) return 0;
    }
    return 1;
}
