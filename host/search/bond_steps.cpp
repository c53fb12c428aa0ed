#include "host/search/bond_steps.hpp"

namespace saddlefit::host {

std::map<AtomPair, BondSteps> stepsOf(std::span<const Transition> transitions) {
    std::map<AtomPair, BondSteps> steps;
    for (const auto &step : transitions) {
        if (step.breakA >= 0 && step.breakB >= 0)
            ++steps[orderedPair(step.breakA, step.breakB)].falls;
        if (step.formA >= 0 && step.formB >= 0) ++steps[orderedPair(step.formA, step.formB)].rises;
    }
    return steps;
}

bool isMadeOrBroken(const BondSteps &steps, int type) {
    constexpr int singleType = 1;
    return type == 0 || (steps.falls > 1 && type == singleType);
}

} // namespace saddlefit::host
