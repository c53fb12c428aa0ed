#include "cli/reaction/reaction_run.hpp"

#include "saddlefit/reaction.h"

#include "cli/files/elements.hpp"
#include "cli/quiet_stdout.hpp"

#include <cstdlib>
#include <string_view>
#include <tuple>

namespace saddlefit::cli {

namespace {

// What an exact match appends to the stored name.
constexpr std::string_view exactSuffix = " (Exact)";

std::vector<Constraint> constraintsOf(Molecule *mol) {
    std::vector<Constraint> constraints;
    Constraint one{};
    for (int i = 0;
         C_getConstraint(mol, i, &one.a, &one.b, &one.c, &one.d, &one.value, &one.parameter) == 1;
         ++i) {
        constraints.push_back(one);
    }
    return constraints;
}

std::string nameOf(Molecule *mol) {
    const char *name = nullptr;
    C_getName(mol, &name);
    return name == nullptr ? "" : name;
}

std::string withoutExactSuffix(std::string name) {
    if (name.ends_with(exactSuffix)) name.resize(name.size() - exactSuffix.size());
    return name;
}

void readAtoms(Molecule *mol, ReactionResult &result) {
    int element = 0;
    int frozen = 0;
    const char *label = nullptr;
    Position at;
    for (int i = 0; C_getAtom(mol, i, &element, &frozen, &label, &at.x, &at.y, &at.z) == 1; ++i) {
        result.coordinates.push_back(at);
        if (frozen != 0) result.frozen.push_back(i);
    }
}

void readBonds(Molecule *mol, ReactionResult &result) {
    StructureBond bond;
    for (int i = 0; C_getBond(mol, i, &bond.atom1, &bond.atom2, &bond.type) == 1; ++i) {
        result.bonds.push_back(bond);
    }
}

} // namespace

HostMolecule buildMolecule(const Reaction &reaction) {
    const auto &[atoms, bonds] = std::tie(reaction.reactant.atoms, reaction.reactant.bonds);
    HostMolecule mol(C_createMolecule(static_cast<int>(atoms.size()),
                                      static_cast<int>(bonds.size()), 0,
                                      static_cast<int>(reaction.transitions.size())));
    if (!mol) throw UserError(reaction.reactant.origin + ": not enough memory");
    C_setName(mol.get(), reaction.title.c_str());
    for (int i = 0; const auto &atom : atoms) {
        const auto &at = reaction.coordinates[static_cast<std::size_t>(i)];
        C_setAtom(mol.get(), i, atom.element, 0, atomLabel(atom.element, i).c_str(), at.x, at.y,
                  at.z);
        ++i;
    }
    for (int i = 0; const auto &bond : bonds) {
        C_setBond(mol.get(), i++, bond.atom1, bond.atom2, bond.type);
    }
    for (int i = 0; const auto &step : reaction.transitions) {
        C_setTransition(mol.get(), i++, step.breakA, step.breakB, step.formA, step.formB);
    }
    return mol;
}

std::string codeOf(Molecule *mol) {
    const std::unique_ptr<int, decltype(&std::free)> code(getTransitionCode(mol), &std::free);
    return code ? codeInSymbols(code.get()) : std::string{};
}

ReactionResult runReaction(const Reaction &reaction, const std::string &database, bool verbose) {
    const HostMolecule mol = buildMolecule(reaction);
    ReactionResult result;
    result.code = codeOf(mol.get());
    {
        const QuietStdout quiet(verbose);
        const bool exact = C_startReaction(mol.get(), database.c_str()) == 0;
        result.startConstraints = constraintsOf(mol.get());
        const bool partial = C_finishReaction(mol.get()) == 1;
        if (exact) result.outcome = Outcome::exact;
        if (partial) result.outcome = Outcome::partial;
    }
    if (result.outcome != Outcome::noMatch) result.match = nameOf(mol.get());
    if (result.outcome == Outcome::exact) result.match = withoutExactSuffix(result.match);
    readAtoms(mol.get(), result);
    readBonds(mol.get(), result);
    result.constraints = constraintsOf(mol.get());
    return result;
}

std::string describeMatch(const ReactionResult &result) {
    switch (result.outcome) {
    case Outcome::exact:
        return "exact " + result.match;
    case Outcome::partial:
        return "partial " + result.match;
    case Outcome::noMatch:
        break;
    }
    return "no match";
}

} // namespace saddlefit::cli
