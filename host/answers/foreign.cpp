#include "host/answers/foreign.hpp"

#include "host/answers/sdf.hpp"
#include "host/structures/babel.hpp"
#include "host/system/error.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

babel::Molecule messageOf(const std::string &title, const std::vector<StructureAtom> &atoms,
                          const std::vector<StructureBond> &bonds) {
    babel::Molecule message;
    message.title = title;
    message.dimension = 3;
    for (const auto &[element, charge, at] : atoms) {
        auto &atom = message.atoms.emplace_back();
        atom.element = element;
        atom.charge = charge;
        atom.position = {at.x, at.y, at.z};
    }
    for (const auto &bond : bonds) {
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
    const auto helium = messageOf("x", {{2, 0, {}}}, {});
    const auto one = sharedBabel().write({extension, {helium}});
    return sharedBabel().write({extension, {helium, helium}}) == one + one;
}

std::string foreignRecord(const std::string &extension, const Reaction &reaction,
                          const Answer &answer) {
    return sharedBabel().write(
        {extension,
         {messageOf(reaction.title, placedAtoms(reaction, answer.coordinates),
                    lastingBonds(reaction, answer))}});
}

} // namespace saddlefit::host
