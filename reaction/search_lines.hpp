/// The lines that mapDB() prints.
#pragma once

#include "reaction/contest.hpp"

namespace saddlefit {

/// Prints on standard output as soon as there is something to tell.
class SearchLines : public ContestListener {
public:
    void starting(const Trial::Weighed &weighed) override;
    void ending(const Molecule &mol, const Mappings &mappings) override;
};

} // namespace saddlefit
