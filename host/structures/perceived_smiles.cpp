#include "host/structures/perceived_smiles.hpp"

#include "host/structures/babel.hpp"

namespace saddlefit::host {

std::string perceivedSmiles(const std::vector<StructureAtom> &atoms, int charge) {
    babel::PerceiveBonds request;
    request.charge = charge;
    request.molecule.dimension = 3;
    for (const auto &[element, own, at] : atoms) {
        auto &atom = request.molecule.atoms.emplace_back();
        atom.element = element;
        atom.position = {at.x, at.y, at.z};
    }
    return sharedBabel().writeSmiles({sharedBabel().perceiveBonds(request), false});
}

} // namespace saddlefit::host
