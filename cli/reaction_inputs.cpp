#include "cli/reaction_inputs.hpp"

#include "cli/result_file.hpp"
#include "host/programs/constraint_files.hpp"
#include "host/programs/saddle_inputs.hpp"

#include <utility>

namespace saddlefit::cli {

namespace {

// Where atoms are frozen, angles come from other atoms' surroundings: the structure does not keep
// them, and a program that did would tear at it.
std::vector<Constraint> constraintsToKeep(const Answer &answer) {
    auto kept = answer.constraints;
    if (answer.frozen.empty()) return kept;
    std::erase_if(kept, [](const Constraint &constraint) { return constraint.c >= 0; });
    return kept;
}

void writeConstraintFile(const ReactOptions &options, const Reaction &reaction,
                         const Answer &answer) {
    const ConstrainedMolecule molecule{reaction.title,
                                       answer.charge,
                                       answer.unpaired,
                                       placedAtoms(reaction, answer.coordinates),
                                       constraintsToKeep(answer),
                                       answer.frozen,
                                       options.constraintStem(reaction)};
    writeFile(options.constraintPath(reaction, constraintFormat(options.constraintProgram).suffix),
              constraintFile(options.constraintProgram, molecule));
}

// Of a side in space.
std::vector<Position> positionsOf(const Structure &structure) {
    std::vector<Position> positions;
    if (!hasCoordinates(structure.atoms)) return positions;
    for (const auto &atom : structure.atoms)
        positions.push_back(atom.position);
    return positions;
}

void writeSaddleInputs(const ReactOptions &options, const Reaction &reaction,
                       const Answer &answer) {
    SaddleGuess guess{reaction.title,
                      answer.charge,
                      answer.unpaired,
                      placedAtoms(reaction, answer.bestCoordinates()),
                      positionsOf(reaction.reactant),
                      positionsOf(reaction.product),
                      {},
                      options.constraintStem(reaction)};
    if (const auto *found = answer.saddle ? answer.saddle->found() : nullptr)
        guess.hessian = found->hessian;
    for (const auto &[suffix, text] : saddleInputs(options.constraintProgram, guess))
        writeFile(options.constraintPath(reaction, suffix), text);
}

} // namespace

void writeInputs(const ReactOptions &options, const Reaction &reaction, const Answer &answer) {
    if (options.constraintProgram.empty()) return;
    if (options.job == Job::ts)
        writeSaddleInputs(options, reaction, answer);
    else
        writeConstraintFile(options, reaction, answer);
}

} // namespace saddlefit::cli
