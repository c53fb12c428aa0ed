/// How long changing bonds are in the transition states of a database, by their surroundings.
#pragma once

#include "saddlefit/molecule.h"

#include "host/search/surroundings.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace saddlefit::host {

/// How long a changing bond usually is.
struct UsualLength {
    double length = 0.0; ///< angstrom
    std::size_t shared =
        0; ///< levels of surroundings, from the coarsest on, that stored bonds share
    std::size_t bonds = 0; ///< how many share the finest of these
};

using UsualLengths = std::map<AtomPair, UsualLength>; ///< by changing bond

class LengthEstimate {
public:
    LengthEstimate() = default;

    /// For questions with these keys alone: counts no more than they ask for.
    explicit LengthEstimate(WantedKeys wanted) : wanted_(std::move(wanted)) {}

    /// Add the changing bonds of a stored molecule.
    void count(const Molecule &stored);

    /// Nothing is counted after that.
    void finish();

    /// How long a bond between these elements is likely to be, in angstrom: from the coarsest
    /// surroundings to the finest, e = (n median + m e) / (n + m), with the n stored bonds that
    /// have these surroundings in common. `m` says how many bonds the coarser surroundings count
    /// for. It begins with the median of the pair of elements; where the database has no such pair,
    /// with the estimated length of a single bond times the median ratio of all bonds of the kind
    /// to theirs, and without any of those with the estimate itself.
    UsualLength lengthOf(int element1, int element2, const ChangingBond &bond, double m) const;

    /// Of each changing bond of a molecule in its transition-state picture.
    UsualLengths lengthsIn(const Molecule &transitionState, double m) const;

private:
    using KeyedLength = std::pair<std::uint64_t, double>;
    double beginOf(int element1, int element2, const ChangingBond &bond) const;
    double singleLength(int element1, int element2);
    std::optional<WantedKeys> wanted_;
    std::map<AtomPair, double> singleLengths_; ///< by elements
    std::vector<KeyedLength> lengths_; ///< under the keys of all levels; sorted once finished
    std::map<bool, std::vector<double>> ratios_;
    std::map<bool, double> medianRatios_; ///< of bonds made or broken, and of others
};

/// The library's estimate for a single bond, in angstrom.
double singleBondLength(int element1, int element2);

} // namespace saddlefit::host
