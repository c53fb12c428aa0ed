#pragma once

#include "host/system/error.hpp"

#include <Eigen/Dense>
#include <memory>
#include <string>
#include <vector>

namespace saddlefit::host {

/// The molecule that a surface belongs to. One without atoms is a plain mathematical function.
struct Species {
    std::vector<int> elements;
    int charge = 0;
    int unpaired = 0; ///< electrons
};

/// Hartree, and hartree per bohr.
struct Evaluation {
    double energy = 0.0;
    Eigen::VectorXd gradient;
};

/// A potential energy surface. What it keeps from one geometry to the next (a wave function to
/// begin with) makes the next evaluation cheaper, so that neighbours should be asked for in turn.
class EnergySurface {
public:
    explicit EnergySurface(Species species) : species_(std::move(species)) {}
    EnergySurface(const EnergySurface &) = delete;
    EnergySurface &operator=(const EnergySurface &) = delete;
    virtual ~EnergySurface() = default;

    /// Energy and gradient at these coordinates, x, y, z by atom in bohr. Throws Error for atoms on
    /// top of each other and coordinates that are no numbers (ErrorKind::input), and where the
    /// method comes to no end (program).
    Evaluation at(const Eigen::VectorXd &coordinates);

    const Species &species() const { return species_; }

    /// Evaluations so far, those that failed among them.
    int gradientsUsed() const { return gradientsUsed_; }

    /// Of the method, as it stands in results: "gfn2".
    virtual std::string level() const = 0;

private:
    virtual Evaluation evaluate(const Eigen::VectorXd &coordinates) = 0;
    Species species_;
    int gradientsUsed_ = 0;
};

/// Throws Error if the species has no atoms, charge and unpaired electrons that cannot be, or has
/// elements beyond the heaviest one.
void requirePossible(const Species &species, int heaviestElement);

/// The pair of atoms nearest to each other and their distance, bohr.
struct NearestPair {
    int atom1 = -1;
    int atom2 = -1;
    double distance = 0.0;
};
NearestPair nearestPair(const Eigen::VectorXd &coordinates);

} // namespace saddlefit::host
