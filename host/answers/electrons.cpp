#include "host/answers/electrons.hpp"

#include "host/system/error.hpp"

#include <cstdlib>
#include <numeric>
#include <string>

namespace saddlefit::host {

int formalCharge(const Structure &structure) {
    return std::accumulate(structure.atoms.begin(), structure.atoms.end(), 0,
                           [](int sum, const auto &atom) { return sum + atom.charge; });
}

Electrons electronsOf(const Structure &structure, std::optional<int> charge,
                      std::optional<int> unpaired) {
    Electrons electrons;
    electrons.charge = charge.value_or(formalCharge(structure));
    const int count =
        std::accumulate(structure.atoms.begin(), structure.atoms.end(), -electrons.charge,
                        [](int sum, const auto &atom) { return sum + atom.element; });
    electrons.unpaired = unpaired.value_or(std::abs(count % 2));
    if (electrons.unpaired <= count && (count - electrons.unpaired) % 2 == 0) return electrons;
    throw Error("a charge of " + std::to_string(electrons.charge) + " leaves " +
                std::to_string(count) + " electrons, of which " +
                std::to_string(electrons.unpaired) + " cannot be unpaired")
        .with(Remedy::electrons);
}

} // namespace saddlefit::host
