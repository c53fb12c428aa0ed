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

/// Why a surface gives no energy.
enum class SurfaceFault {
    noProgram,   ///< what computes it is not installed, or is none that can be used
    wrongAtoms,  ///< elements beyond its range, or no atoms at all
    wrongSpin,   ///< no such number of unpaired electrons with this charge
    badGeometry, ///< atoms on top of each other, or coordinates that are no numbers
    noResult     ///< it was asked and did not come to an end
};

/// A complete sentence for a person, beside the fault.
class SurfaceError : public Error {
public:
    SurfaceError(SurfaceFault fault, const std::string &message) : Error(message), fault_(fault) {}
    SurfaceFault fault() const { return fault_; }

private:
    SurfaceFault fault_;
};

/// A potential energy surface. What it keeps from one geometry to the next (a wave function to
/// begin with) makes the next evaluation cheaper, so that neighbours should be asked for in turn.
class EnergySurface {
public:
    explicit EnergySurface(Species species) : species_(std::move(species)) {}
    EnergySurface(const EnergySurface &) = delete;
    EnergySurface &operator=(const EnergySurface &) = delete;
    virtual ~EnergySurface() = default;

    /// Energy and gradient at these coordinates, x, y, z by atom in bohr. Throws SurfaceError.
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

/// Throws SurfaceError if the species cannot be, or has elements beyond the heaviest one.
void requirePossible(const Species &species, int heaviestElement);

/// The pair of atoms nearest to each other and their distance, bohr.
struct NearestPair {
    int atom1 = -1;
    int atom2 = -1;
    double distance = 0.0;
};
NearestPair nearestPair(const Eigen::VectorXd &coordinates);

} // namespace saddlefit::host
