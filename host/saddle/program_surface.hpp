#pragma once

#include "host/saddle/method.hpp"

namespace saddlefit::host {

/// Energies and gradients of a program that is run for each of them, in a folder that lasts as long
/// as the surface, where it finds what the run before has left: see computeGradient(). Where it
/// fails it is run once more, in a new folder.
/// @param method with a name as programMethodNamed() takes it
/// Throws Error if the method is unknown or the species is none that there can be.
std::unique_ptr<EnergySurface> programSurface(Species species, const Method &method);

} // namespace saddlefit::host
