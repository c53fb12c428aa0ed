/// What the transitions of a stored reaction do to its bonds.
#pragma once

#include "saddlefit/molecule.h"

#include "host/structures/structure.hpp"

#include <map>
#include <span>

namespace saddlefit::host {

/// How often a bond falls and rises.
struct BondSteps {
    int falls = 0;
    int rises = 0;
};

std::map<AtomPair, BondSteps> stepsOf(std::span<const Transition> transitions);

/// Whether a bond with these steps and this transition-state type is there on one side only. A bond
/// that was made, or a single one that was broken, is left with type 0; a double or triple one that
/// was broken, step by step, with type 1.
bool isMadeOrBroken(const BondSteps &steps, int type);

} // namespace saddlefit::host
