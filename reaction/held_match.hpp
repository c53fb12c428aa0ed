/// What is held between the start and the finish of a reaction.
#pragma once

#include "molecule/memory.hpp"

namespace saddlefit {

struct HeldMatch {
    OwnedMol match;
    OwnedBlock<int> map; ///< one entry per atom that the molecule had at the start
    int mapped = 0;      ///< their number

    static HeldMatch &ofProcess();
};

} // namespace saddlefit
