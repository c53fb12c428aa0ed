// Reactions of the example data, or of a folder named by SADDLEFIT_BENCH_REACTIONS, and databases
// made of them.
#pragma once

#include "rdkit_graphs.hpp"

#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>

namespace bench {

struct Reaction {
    std::string name;
    Graph graph; ///< the reactant's bonds, the transition state's places
    std::vector<Transition> transitions;
};

using Code = std::vector<int>;

/// One falling and one rising bond per transition, a bond once for each order that it changes by.
inline std::vector<Transition> transitionsBetween(const Graph &reactant, const Graph &product) {
    std::map<std::pair<int, int>, int> change;
    for (const auto &[a, b, type] : product.bonds)
        change[std::minmax(a, b)] += type;
    for (const auto &[a, b, type] : reactant.bonds)
        change[std::minmax(a, b)] -= type;
    std::vector<std::pair<int, int>> falling, rising;
    for (const auto &[atoms, steps] : change)
        (steps < 0 ? falling : rising)
            .insert((steps < 0 ? falling : rising).end(), static_cast<std::size_t>(std::abs(steps)),
                    atoms);
    std::vector<Transition> transitions(std::max(falling.size(), rising.size()), {-1, -1, -1, -1});
    for (std::size_t i = 0; i < falling.size(); ++i)
        std::tie(transitions[i].breakA, transitions[i].breakB) = falling[i];
    for (std::size_t i = 0; i < rising.size(); ++i)
        std::tie(transitions[i].formA, transitions[i].formB) = rising[i];
    return transitions;
}

inline void readReactions(const std::string &prefix, std::vector<Reaction> &reactions) {
    const auto open = [&](const char *kind) {
        return RDKit::SDMolSupplier(prefix + kind + ".sdf", false, false, false);
    };
    RDKit::SDMolSupplier reactants = open("reactants"), products = open("products"),
                         states = open("ts");
    while (!reactants.atEnd()) {
        const std::unique_ptr<RDKit::ROMol> reactant(reactants.next()), product(products.next()),
            state(states.next());
        Reaction reaction{state->getProp<std::string>("_Name"), graphOf(*reactant), {}};
        reaction.transitions = transitionsBetween(reaction.graph, graphOf(*product));
        reaction.graph.places = graphOf(*state).places;
        if (!reaction.transitions.empty()) reactions.push_back(reaction);
    }
}

inline std::vector<Reaction> readReactions() {
    std::vector<Reaction> reactions;
    if (const char *folder = std::getenv("SADDLEFIT_BENCH_REACTIONS")) {
        readReactions(std::string(folder) + '/', reactions);
    } else {
        readReactions(SADDLEFIT_BENCH_DATA "/parents_", reactions);
        readReactions(SADDLEFIT_BENCH_DATA "/queries_", reactions);
    }
    return reactions;
}

/// The reactant with what is to change.
inline Mol question(const Reaction &reaction) {
    Mol mol = molecule(reaction.graph);
    const std::size_t bytes = reaction.transitions.size() * sizeof(Transition);
    mol->transitions = static_cast<Transition *>(std::malloc(bytes));
    std::memcpy(mol->transitions, reaction.transitions.data(), bytes);
    mol->transitionCount = static_cast<int>(reaction.transitions.size());
    return mol;
}

/// The transition-state picture, as it is stored.
inline Mol molecule(const Reaction &reaction) {
    Mol mol = question(reaction);
    applyTransition(mol.get());
    return mol;
}

inline Code codeOf(const Reaction &reaction) {
    const std::unique_ptr<int, decltype(&std::free)> code(
        getTransitionCode(molecule(reaction).get()), &std::free);
    int length = 0;
    while (code.get()[length++] != 0) {
    }
    return {code.get(), code.get() + length};
}

inline bool inCentre(const Reaction &reaction, int atom) {
    return std::ranges::any_of(reaction.transitions, [&](const Transition &step) {
        return atom == step.breakA || atom == step.breakB || atom == step.formA ||
               atom == step.formB;
    });
}

/// The reaction with its atoms displaced a little, and fluorine in the place of a hydrogen.
inline Reaction varied(Reaction reaction, std::mt19937 &random) {
    std::normal_distribution<double> displacement(0, 0.05); // angstrom
    for (auto &place : reaction.graph.places)
        for (double &value : place)
            value += displacement(random);
    const std::size_t atom = random() % reaction.graph.size();
    int &element = reaction.graph.elements[atom];
    if (element == 1 && !inCentre(reaction, static_cast<int>(atom))) element = 9;
    return reaction;
}

/// A record with its block's head, as a file holds it.
inline std::string blockOf(const Reaction &reaction, const Code &code) {
    const ScratchFile file;
    const Mol mol = molecule(reaction);
    if (insertDB(file.path().c_str(), strdup(reaction.name.c_str()), code.data(), mol.get()) != 1)
        throw std::runtime_error("a record cannot be stored");
    std::ifstream stream(file.path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace bench
