#include "host/search/stages.hpp"

#include "saddlefit/host.h"

#include "host/search/bond_steps.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <span>

namespace saddlefit::host {

namespace {

constexpr int singleType = 1;

bool makesOrBreaks(const BondChange &change) {
    return change.before == 0 || change.after == 0;
}

std::vector<BondChange> madeAndBroken(const std::vector<BondChange> &changes) {
    std::vector<BondChange> ends;
    for (const auto &[atoms, before, after] : changes) {
        if (before == 0) ends.push_back({atoms, 0, singleType});
        if (after == 0) ends.push_back({atoms, singleType, 0});
    }
    return ends;
}

void replaceTransitions(Molecule &mol, const std::vector<Transition> &transitions) {
    std::free(mol.transitions);
    mol.transitions = nullptr;
    mol.transitionCount = 0;
    for (int i = 0; const auto &step : transitions)
        C_setTransition(&mol, i++, step.breakA, step.breakB, step.formA, step.formB);
}

} // namespace

std::optional<Question> questionFor(Stage stage, const Reaction &reaction) {
    Question question{reaction.reactant.bonds, reaction.transitions};
    if (stage == Stage::full) return question;
    for (auto &bond : question.bonds)
        bond.type = singleType;
    if (std::none_of(reaction.changes.begin(), reaction.changes.end(), makesOrBreaks))
        return std::nullopt;
    question.transitions = deriveTransitions(madeAndBroken(reaction.changes));
    return question;
}

void makeSigmaPicture(Molecule &stored) {
    const auto steps =
        stepsOf({stored.transitions, static_cast<std::size_t>(stored.transitionCount)});
    std::map<AtomPair, BondChange> ends; // by atoms, so that no bond counts twice
    for (int i = 0; i < stored.bondCount; ++i) {
        Bond &bond = *stored.bonds[i];
        const auto atoms = orderedPair(bond.atom1, bond.atom2);
        const auto found = steps.find(atoms);
        if (found == steps.end()) {
            bond.type = std::min(bond.type, singleType);
        } else if (isMadeOrBroken(found->second, bond.type)) {
            const bool broken = found->second.falls > 0;
            ends[atoms] = {atoms, broken ? singleType : 0, broken ? 0 : singleType};
            bond.type = 0;
        } else {
            bond.type = singleType;
        }
    }
    std::vector<BondChange> changes;
    for (const auto &[atoms, change] : ends)
        changes.push_back(change);
    replaceTransitions(stored, deriveTransitions(changes));
}

} // namespace saddlefit::host
