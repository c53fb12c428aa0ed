/// What a reaction holds between its start and its finish.
#pragma once

#include "molecule/memory.hpp"

namespace saddlefit {

class HeldMatch {
public:
    static HeldMatch &ofProcess();

    /// Search with the held match lent out to `find`, which fills both pointers as mapDB() does: it
    /// survives a search that does not get as far as to replace it, and is released by one that
    /// does. Then constrain the molecule to what is held; the result is that of startReaction().
    template <class Find> int start(Molecule &mol, Find find) {
        Molecule *match = match_.get();
        int *map = map_.get();
        const int found = find(&match, &map);
        if (match != match_.get()) match_.reset(match);
        if (map != map_.get()) {
            map_.reset(map);
            mapped_ = mol.atomCount;
        }
        return found ? constrain(mol) : 1;
    }

    /// The result is that of finishReaction().
    int finish(Molecule &mol);

private:
    int constrain(Molecule &mol);
    bool coverAtoms(int atomCount);

    OwnedMol match_;
    OwnedBlock<int> map_; ///< one entry per atom that the molecule had at the start
    int mapped_ = 0;      ///< their number
};

} // namespace saddlefit
