/// The method of energies and geometries, by the name that it is asked for and told by.
#pragma once

#include "host/saddle/energy.hpp"

#include <memory>
#include <string>

namespace saddlefit::host {

struct Method {
    /// "gfn2", "gfn1" or "gfnff", by libxtb in this process; or a program that is run for each
    /// gradient, with a method in its own words: "psi4:hf/sto-3g" (see gradient_job.hpp).
    std::string name = "gfn2";
    double gradientTime = 600; ///< seconds for one run of such a program
    std::string folder{};      ///< in which it gets a folder to work in; empty: see TemporaryFolder
};

/// Throws Error where the name is none of a method.
void requireMethodName(const std::string &name);

/// Throws Error if the method is unknown or cannot be used on this machine.
void requireMethod(const Method &method);

/// The method's surface of a molecule.
/// Throws Error as requireMethod(), and for what the method cannot compute: elements that it does
/// not know, and impossible charges.
std::unique_ptr<EnergySurface> surfaceOf(Species species, const Method &method);

} // namespace saddlefit::host
