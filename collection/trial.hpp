#pragma once

#include "collection/geometry.hpp"

#include <set>
#include <string>
#include <vector>

namespace saddlefit::collection {

/// A saddle that passes all filters, with its own ends.
struct VerifiedSaddle {
    std::string hash; ///< of the reaction between its ends
    Species species;
    LewisStructure reactant, product;
    Eigen::VectorXd atReactant, atSaddle, atProduct;                ///< bohr
    double reactantEnergy = 0, saddleEnergy = 0, productEnergy = 0; ///< hartree
    double wavenumber = 0;     ///< of the imaginary mode, negative, cm-1
    double nextWavenumber = 0; ///< of the lowest real one
    double modeShare = 0;      ///< of the imaginary mode in the changing bonds, 0 to 1
};

/// What came of one proposal. The outcome is one of a few phrases that can be counted.
struct TrialResult {
    std::string outcome;
    std::optional<VerifiedSaddle> saddle;
    int gradients = 0;
    bool accepted() const { return saddle.has_value(); }
};

/// Where a proposal is from.
enum class Origin { enumeration, family };

/// What a saddle has to be.
struct Filters {
    double leastWavenumber = 100.0; ///< of the imaginary mode, cm-1
    double leastBarrier = 1.0;      ///< both ways, kcal/mol
    double highestBarrier = 130.0;  ///< the higher of both
};

/// What keeps a verified saddle out, as a phrase; empty if nothing does.
std::string objectionTo(const VerifiedSaddle &saddle, const Filters &filters = {});

/// The reactant of many proposals with its conformers, relaxed at GFN2-xTB if it is one molecule.
class Reactant {
public:
    /// Throws Error if it does not keep its bonds.
    Reactant(Molecule3D molecule, std::uint64_t seed);

    const Molecule3D &molecule() const { return molecule_; }

    /// Up to two starts, the second from another conformer (or arrangement) and without springs,
    /// until one leads to a saddle that passes the filters; of whatever reaction that is. Each
    /// trial has a surface of its own, so that it does not depend on those before.
    TrialResult tried(const Proposal &proposal, Origin origin) const;

private:
    std::vector<Eigen::VectorXd> nearestConformers(const Proposal &proposal) const;
    Molecule3D molecule_;
    bool isComplex_ = false;
    std::uint64_t seed_;
    std::vector<Eigen::VectorXd> conformers_;
    double energy_ = 0.0; ///< of the lowest conformer
};

} // namespace saddlefit::collection
