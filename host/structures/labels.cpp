#include "host/structures/labels.hpp"

#include "host/structures/elements.hpp"

namespace saddlefit::host {

std::string labelIn(const std::vector<StructureAtom> &atoms, int atom) {
    return atomLabel(atoms[static_cast<std::size_t>(atom)].element, atom);
}

std::string bondLabel(const std::vector<StructureAtom> &atoms, const AtomPair &bond) {
    return labelIn(atoms, bond.first) + "-" + labelIn(atoms, bond.second);
}

} // namespace saddlefit::host
