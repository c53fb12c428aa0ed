/// One reaction through the library, from the question to the structure.
#pragma once

#include "host/programs/xtb.hpp"
#include "host/saddle/reaction_saddle.hpp"
#include "host/search/search.hpp"
#include "host/search/stored_reactions.hpp"
#include "host/system/error.hpp"
#include "host/system/words.hpp"

#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

enum class Relax {
    none,
    internal, ///< distances of the start geometry, around the centre
    uff,      ///< after that, a force field
    xtb       ///< before and after the centre is placed, the program xtb
};

template <>
inline constexpr auto wordsFor<Relax> = std::to_array<Word<Relax>>({{Relax::internal, "internal"},
                                                                    {Relax::none, "none"},
                                                                    {Relax::uff, "uff"},
                                                                    {Relax::xtb, "xtb"}});

/// How the reaction centre is placed where there is a match.
enum class Placement {
    direction, ///< by the match if it is the same reaction the same way, else by the usual lengths
    library    ///< by the match, as the library does it
};

template <>
inline constexpr auto wordsFor<Placement> = std::to_array<Word<Placement>>(
    {{Placement::direction, "direction"}, {Placement::library, "library"}});

struct AnswerOptions {
    std::vector<Stage> stages{Stage::full, Stage::sigma, Stage::lengths};
    Relax relax = Relax::internal;
    Placement placement = Placement::direction;
    std::size_t guesses = 1; ///< whole structures to make, 1 to 3: see Answer::flanks
    std::size_t rivals = 3;  ///< how many of the best matches are looked at, for the spread
    std::optional<int> charge;
    std::optional<int> unpaired; ///< electrons
    XtbOptions xtb;
    std::optional<SaddleOptions> saddle; // to search for, from the guess: see bestAnswer()
};

enum class Outcome { exact, partial, noMatch };

template <>
inline constexpr auto wordsFor<Outcome> = std::to_array<Word<Outcome>>(
    {{Outcome::exact, "exact"}, {Outcome::partial, "partial"}, {Outcome::noMatch, "none"}});

/// What a stage found.
struct StageReport {
    Stage stage = Stage::full;
    Quality quality = Quality::guarded; ///< of the records that were asked
    std::string code;                   ///< in symbols
    Funnel funnel;
    std::vector<Match> matches; ///< best first
};

/// Another way to pair the atoms, with as few bonds broken and formed.
struct RivalMap {
    std::string changes; ///< "C1-H7 broken, C3-H7 formed"
    std::string match;   ///< as describeMatch() says
};

/// A whole structure beside the answer's own: with the same centre, and the rest not between the
/// two sides of the reaction but like one of them, as it is in an early or a late transition state.
struct Flank {
    const char *like; ///< "reactant" or "product"
    std::vector<Position> coordinates;
    std::vector<std::string> strains; ///< what is wrong with it, a sentence each
};

struct Answer {
    Outcome outcome = Outcome::noMatch;
    std::optional<Stage> stage; ///< that answered
    std::string match;          ///< the stored name; empty without a match
    std::string code;           ///< of all changes, in symbols
    std::vector<StageReport> reports;
    std::vector<UsualLength> usual; ///< per change
    bool usualLengths = false; ///< whether the changing bonds have the database's, not a match's
    std::vector<Position> coordinates;
    std::vector<StructureBond> bonds;         ///< with transition-state types
    std::vector<int> frozen;                  ///< atoms, from 0
    std::vector<Constraint> startConstraints; ///< as they stood between start and finish
    std::vector<Constraint> constraints;      ///< as they stand at the end
    int charge = 0;
    int unpaired = 0;
    std::string relaxedBy;            ///< "", "distances", "uff" or the method of xtb
    std::vector<std::string> strains; ///< what is wrong with the structure, a sentence each
    std::vector<Flank> flanks;        ///< one less than the guesses that were asked for, or fewer
    std::vector<Warning> warnings;    ///< about the records

    std::vector<RivalMap> rivalMaps; ///< where the atoms can be paired in several ways

    std::optional<ReactionSaddle> saddle; ///< where one was searched for

    const Match *matched() const; ///< null without one
    std::vector<std::string> warningTexts() const;
    bool isLastResort() const; // whether the match is a record that was refused

    // What goes into files of structures: of the saddle point if one was found, else of the guess.
    const std::vector<Position> &bestCoordinates() const;
};

/// The reactant's atoms at these places.
std::vector<StructureAtom> placedAtoms(const Reaction &reaction,
                                       const std::vector<Position> &positions);

/// Ask in stages, place the reaction centre, relax the rest.
/// Throws Error if a program that was to relax the structure fails.
Answer answerTo(const Reaction &reaction, const StoredReactions &stored,
                const AnswerOptions &options);

/// "exact NAME", "partial NAME" or "no match".
std::string describeMatch(const Answer &answer);

} // namespace saddlefit::host
