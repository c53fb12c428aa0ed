#pragma once

namespace saddlefit::host {

/// CODATA 2018 (Tiesinga et al., Rev. Mod. Phys. 93, 025010 (2021)).
constexpr double angstromPerBohr = 0.529177210903;
constexpr double kcalPerHartree = 627.5094740631;
constexpr double wavenumbersPerHartree = 219474.6313632; ///< cm-1
constexpr double electronMassesPerDalton = 1822.888486209;

} // namespace saddlefit::host
