/// Reactions from files as chemists exchange them: one record per side, V2000.
#pragma once

#include "saddlefit/reaction.h"

#include "tests/molecules.hpp"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace saddlefit::test {

struct Side {
    std::string title;
    std::vector<At> atoms;
    std::map<std::pair<int, int>, int> bonds; ///< type by atoms, the lower one first
};

/// Bonds of aromatic type are 4 in the file.
inline std::vector<Side> readSides(const std::string &path) {
    static const std::map<std::string, int> elements = {
        {"H", 1}, {"C", 6}, {"N", 7}, {"O", 8}, {"F", 9}, {"S", 16}, {"Cl", 17}, {"Br", 35}};
    std::vector<Side> sides;
    std::ifstream in(path);
    for (std::string title, line; std::getline(in, title);) {
        Side side{title, {}, {}};
        for (int i = 0; i < 3; ++i)
            std::getline(in, line);
        const int atoms = std::stoi(line.substr(0, 3)), bonds = std::stoi(line.substr(3, 3));
        for (int i = 0; i < atoms && std::getline(in, line); ++i) {
            std::istringstream words(line);
            At atom{};
            std::string element;
            words >> atom.x >> atom.y >> atom.z >> element;
            atom.element = elements.at(element);
            side.atoms.push_back(atom);
        }
        for (int i = 0; i < bonds && std::getline(in, line); ++i) {
            const int a = std::stoi(line.substr(0, 3)) - 1, b = std::stoi(line.substr(3, 3)) - 1;
            const int type = std::stoi(line.substr(6, 3));
            side.bonds[std::minmax(a, b)] = type == 4 ? 5 : type;
        }
        sides.push_back(side);
        while (std::getline(in, line) && line != "$$$$") {
        }
    }
    return sides;
}

/// A falling and a rising bond for each step of an order.
inline std::vector<Transition> transitionsBetween(const Side &before, const Side &after) {
    const auto typeIn = [](const Side &side, std::pair<int, int> bond) {
        const auto found = side.bonds.find(bond);
        return found == side.bonds.end() ? 0 : found->second;
    };
    std::vector<std::pair<int, int>> falling, rising;
    std::map<std::pair<int, int>, int> all = before.bonds;
    all.insert(after.bonds.begin(), after.bonds.end());
    for (const auto &[bond, anyType] : all) {
        const int change = typeIn(after, bond) - typeIn(before, bond);
        (change < 0 ? falling : rising)
            .insert((change < 0 ? falling : rising).end(),
                    static_cast<std::size_t>(std::abs(change)), bond);
    }
    std::vector<Transition> transitions(std::max(falling.size(), rising.size()), {-1, -1, -1, -1});
    for (std::size_t i = 0; i < falling.size(); ++i)
        std::tie(transitions[i].breakA, transitions[i].breakB) = falling[i];
    for (std::size_t i = 0; i < rising.size(); ++i)
        std::tie(transitions[i].formA, transitions[i].formB) = rising[i];
    return transitions;
}

/// The atoms of one side at the places of another, with the bonds of the reactant.
inline OwnedMol reactionMolecule(const Side &reactant, const Side &product, const Side &places) {
    OwnedMol mol = molecule(places.atoms, "", transitionsBetween(reactant, product));
    for (const auto &[atoms, type] : reactant.bonds)
        addBond(mol.get(), atoms.first, atoms.second, type);
    mol->name = strdup(reactant.title.c_str());
    return mol;
}

} // namespace saddlefit::test
