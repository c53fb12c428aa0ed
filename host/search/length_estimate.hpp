// How long changing bonds are in the transition states of a database.
#pragma once

#include "saddlefit/molecule.h"

#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace saddlefit::host {

// A bond about to be made or broken has no order in the middle of a reaction; another one that
// changes keeps one. Made and broken are the same: any reaction can be read backwards.
enum class ChangeKind { madeOrBroken, otherOrder };

class LengthTable {
public:
    // Add the changing bonds of a stored molecule.
    void count(Molecule &stored);

    // Take the medians; nothing is counted after that.
    void finish();

    // In angstrom: the median of the pair of elements and the kind. Where the database has no such
    // pair, the estimated single-bond length times the median ratio of all bonds of the kind, and
    // without any of those the estimate itself.
    double lengthOf(int element1, int element2, ChangeKind kind) const;

private:
    using Key = std::tuple<int, int, ChangeKind>;
    std::map<Key, std::vector<double>> lengths_;
    std::map<ChangeKind, std::vector<double>> ratios_;
    std::map<Key, double> medians_;
    std::map<ChangeKind, double> medianRatios_;
};

// The library's estimate for a single bond, in angstrom.
double singleBondLength(int element1, int element2);

} // namespace saddlefit::host
