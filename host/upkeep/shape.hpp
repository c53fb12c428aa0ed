/// What a structure looks like, wherever it stands and in whatever order its atoms are.
#pragma once

#include "saddlefit/molecule.h"

#include "host/structures/structure.hpp"

#include <vector>

namespace saddlefit::host {

/// Mirror images have the same shape: a search takes one for the other, too.
class Shape {
public:
    /// The atoms that the transitions name belong to the shape as a marked part of it.
    Shape(const std::vector<StructureAtom> &atoms, const std::vector<Transition> &transitions);

    /// Whether elements are equal and distances differ by no more than 0.01 angstrom.
    bool isLike(const Shape &other) const;

private:
    void addDistances(const std::vector<StructureAtom> &atoms, const Position &from);

    std::vector<int> elements_; ///< ascending
    /// From the centroids of all atoms, of the marked ones, and of all weighted by atomic number:
    /// for each of these per element ascending.
    std::vector<float> distances_;
};

} // namespace saddlefit::host
