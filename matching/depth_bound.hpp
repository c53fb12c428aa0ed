/// How many atoms of the pattern a branch of the search can still map.
#pragma once

#include "matching/partial_mapping.hpp"

#include <cstdint>
#include <vector>

namespace saddlefit {

/// An upper bound of the depth of all mappings that grow from the one at hand.
///
/// An atom that goes next to the mapped part has the same bonds to it as its partner. So atoms can
/// only become partners whose labels agree, the label being made of these bonds and the element,
/// and of each label no more pairs come about than the scarcer side has atoms: the bound of
/// C. McCreesh, P. Prosser and J. Trimble, IJCAI (2017) 712. Here mappings also grow connected:
/// atoms of either side that the mapped part cannot reach drop out, and those that are reached
/// from different mapped atoms only are told apart.
class DepthBound {
public:
    explicit DepthBound(const PartialMapping &mapping);

    /// No mapping below this point of the search is deeper.
    int operator()(int depth);

private:
    using Label = std::uint64_t;

    /// One of the two molecules.
    struct Side {
        std::span<const Atom> atoms;
        const BondTable &bonds;
        std::span<const int> partners;
        int highestOpen; ///< the highest value of an atom that can get a partner
        bool isPattern;
        std::vector<Label> labels = std::vector<Label>(atoms.size());
        std::vector<unsigned char> anchored = std::vector<unsigned char>(atoms.size());
        std::vector<unsigned char> reached = std::vector<unsigned char>(atoms.size());

        bool open(std::size_t atom) const { return partners[atom] <= highestOpen; }
    };

    /// How many open atoms of both sides have a label. Labels may share a counter; that leaves
    /// more pairs possible, not fewer.
    struct Counter {
        int atoms = 0;
        int sites = 0;
    };

    struct Visit {
        Side *side;
        int atom;
    };

    bool startsAgain();
    bool offersTwice() const;
    void countAnywhere();
    void countInReach();

    void labelByBonds(Side &side);
    void closeDeadEnds(Side &side);
    void walkFrom(int anchor);
    void reachPair(int anchor);
    void spread(Side &side, int from);

    Label elementLabel(const Atom &atom) const;
    Counter &counterOf(Label label);
    void countIn(const Side &side, Label label);

    const PartialMapping &mapping_;
    Side pattern_;
    Side target_;
    std::vector<Counter> counters_;
    int pairs_ = 0;   // of the counted atoms
    Label group_ = 0; // of the walk that is on
    std::vector<Visit> visits_;
};

} // namespace saddlefit
