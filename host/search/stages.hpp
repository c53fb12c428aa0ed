/// Ways of asking, from the most to the least demanding.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/system/words.hpp"

#include <optional>
#include <vector>

namespace saddlefit::host {

enum class Stage {
    full,   ///< every change of a bond order counts, and so do the orders of the other bonds
    sigma,  ///< only bonds that are made or broken count; all others are taken as single
    lengths ///< no stored structure, but the usual lengths of such bonds in the database
};

template <>
inline constexpr auto wordsFor<Stage> = std::to_array<Word<Stage>>({{Stage::full, "full"},
                                                                    {Stage::sigma, "sigma"},
                                                                    {Stage::lengths, "lengths"}});

/// A reaction as it is put to the library.
struct Question {
    std::vector<StructureBond> bonds;
    std::vector<Transition> transitions;
};

/// Empty where the stage has nothing to ask: no bond is made or broken.
std::optional<Question> questionFor(Stage stage, const Reaction &reaction);

/// A stored molecule, with its transition-state bonds, as it answers in the stage "sigma". Which
/// bonds were made or broken follows from their transitions and from the type that was left.
void makeSigmaPicture(Molecule &stored);

} // namespace saddlefit::host
