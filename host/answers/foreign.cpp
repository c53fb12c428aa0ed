#include "host/answers/foreign.hpp"

#include "host/answers/sdf.hpp"
#include "host/structures/babel.hpp"
#include "host/system/error.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

babel::Molecule messageOf(const Structure &structure) {
    babel::Molecule message;
    message.title = structure.title;
    message.dimension = 3;
    for (const auto &[element, charge, at] : structure.atoms) {
        auto &atom = message.atoms.emplace_back();
        atom.element = element;
        atom.charge = charge;
        atom.position = {at.x, at.y, at.z};
    }
    for (const auto &bond : structure.bonds) {
        const bool aromatic = bond.type == aromaticType;
        message.bonds.push_back({bond.atom1, bond.atom2, aromatic ? 1 : bond.type, aromatic});
    }
    return message;
}

} // namespace

void requireForeignFormat(const std::string &extension) {
    const auto formats = sharedBabel().formats();
    const bool writes = std::any_of(formats.begin(), formats.end(), [&](const auto &format) {
        return format.writable && format.id == extension;
    });
    if (writes) return;
    throw Error("the extension \"" + extension +
                "\" names no format that can be written; take .sdf, .xyz, or one of those that "
                "\"obabel -L formats write\" lists");
}

bool holdsSeveralRecords(const std::string &extension) {
    Structure atom;
    atom.title = "x";
    atom.atoms = {{2, 0, {}}};
    const auto helium = messageOf(atom);
    const auto one = sharedBabel().write({extension, {helium}});
    return sharedBabel().write({extension, {helium, helium}}) == one + one;
}

Structure finishedStructure(const Reaction &reaction, const Answer &answer) {
    Structure finished;
    finished.title = reaction.title;
    finished.atoms = placedAtoms(reaction, answer.coordinates);
    finished.bonds = lastingBonds(reaction, answer);
    return finished;
}

std::string foreignRecord(const std::string &extension, const Structure &structure) {
    return sharedBabel().write({extension, {messageOf(structure)}});
}

std::string foreignRecord(const std::string &extension, const Reaction &reaction,
                          const Answer &answer) {
    return foreignRecord(extension, finishedStructure(reaction, answer));
}

} // namespace saddlefit::host
