#pragma once

#include <Eigen/Dense>
#include <optional>

namespace saddlefit::host {

/// Eigenvalues, ascending, with their vectors as columns.
struct Spectrum {
    Eigen::VectorXd values;
    Eigen::MatrixXd vectors;
};
Spectrum spectrumOf(const Eigen::MatrixXd &symmetric);

/// The spectrum to step in, and the index of the mode to climb in it.
struct FollowedMode {
    Spectrum spectrum;
    Eigen::Index index = 0;
};

/// Choose the mode to climb: where the search begins by its share in the reaction's direction (of
/// length 1, or zero if unknown), later by likeness to the mode before. Where no mode goes in that
/// direction the Hessian is bent downwards along it.
FollowedMode chooseMode(const Eigen::MatrixXd &hessian, const Eigen::VectorXd &direction,
                        const std::optional<Eigen::VectorXd> &before);

/// Among negative modes the one with the largest share in the direction, weighed less where it is
/// nearly flat; nothing if none has a share worth following.
std::optional<Eigen::Index> reactingMode(const Spectrum &spectrum,
                                         const Eigen::VectorXd &direction);

} // namespace saddlefit::host
