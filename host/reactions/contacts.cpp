#include "host/reactions/contacts.hpp"

#include "saddlefit/bonding.h"

#include "host/structures/host_molecule.hpp"

#include <algorithm>
#include <iterator>

namespace saddlefit::host {

double contactDistance(int element1, int element2) {
    const auto radius = [](int element) {
        constexpr int last = static_cast<int>(std::size(vdwrad)) - 1;
        return vdwrad[static_cast<std::size_t>(std::clamp(element, 0, last))];
    };
    return radius(element1) + radius(element2);
}

double bondLengthOf(int element1, int element2, int type) {
    const auto mol = hostMolecule({{element1, 0, {}}, {element2, 0, {}}}, {{0, 1, type}});
    return bondLengthGuess(mol.get(), mol->bonds[0]);
}

} // namespace saddlefit::host
