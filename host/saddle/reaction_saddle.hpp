/// The saddle point of a reaction as it is told to people and programs.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/saddle/descent.hpp"
#include "host/saddle/method.hpp"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

struct SaddleOptions {
    Method method;
    int attempts = 3; ///< searches for one saddle between both sides
    int steps = 2;    ///< saddles that the reaction may go over
    Descent check = Descent::quick;
    double largestGradient = 5e-4; ///< component of a stationary point, hartree per bohr
};

/// Coordinates to search from, angstrom, with a word for them.
struct StartGeometry {
    std::string name;
    std::vector<Position> positions;
};

/// A side of the reaction as it is drawn.
struct SaddleSide {
    std::vector<AtomPair> bonds;
    std::vector<Position> coordinates; ///< angstrom; empty where they are not known
};

/// What a saddle is searched for.
struct SaddleTask {
    std::vector<int> elements;
    int charge = 0;
    int unpaired = 0;
    std::optional<std::array<SaddleSide, 2>> sides; ///< without, any reaction will do
    std::vector<StartGeometry> starts;              ///< the best first
};

/// The task of a reaction.
SaddleTask saddleTask(const Reaction &reaction, std::vector<StartGeometry> starts, int charge,
                      int unpaired);

/// A minimum beside a saddle. Its bonds are told by what became of the reactant's.
struct SaddleEnd {
    std::string side;    ///< "reactant", "product", "intermediate" or "neither"
    double energy = 0.0; ///< hartree
    std::vector<AtomPair> made;
    std::vector<AtomPair> broken;
    std::vector<Position> coordinates; ///< angstrom
    std::string smiles;                ///< empty unless somebody has named it
};

/// What came of one search. Without a stationary point it has no energy and no wavenumber, without
/// one of first order no ends and no coordinates.
struct SaddleTry {
    std::string start; ///< name of the start geometry, "scan" or "follow"
    std::string outcome;
    std::string reason;               ///< why it failed, a sentence; empty otherwise
    std::optional<double> energy;     ///< hartree
    double gradient = 0.0;            ///< largest component there, hartree per bohr
    std::optional<double> wavenumber; ///< cm-1, of the lowest mode; imaginary ones are negative
    int imaginaryModes = 0;
    double modeShare = 0.0; ///< of that mode in the changing bonds, 0 to 1
    int gradients = 0;      ///< used in all
    int toSaddle = 0;       ///< used until the search came to its end for the first time
    std::vector<SaddleEnd> ends;
    std::vector<Position> coordinates; ///< angstrom
    std::vector<double> hessian; ///< there, hartree per square bohr, of 3 N coordinates row by row
};

struct ReactionSaddle {
    std::string outcome; ///< "verified", "verified in 2 steps", "other ends", "higher order", ...
    std::string reason;  ///< what is to be said beside it; empty if nothing
    bool verified = false;
    std::string level;               ///< "gfn2"
    Descent check = Descent::quick;  ///< how the ends were come to
    std::optional<double> barrier;   ///< of the shown saddle from the reactant's end, kcal/mol
    bool flat = false;               ///< a barrier below 1 kcal/mol or a mode below 100 cm-1
    int gradients = 0;               ///< of all attempts and what lies between them
    std::vector<SaddleTry> attempts; ///< at least one, unless the sides cannot be told apart
    std::vector<std::size_t> route;  ///< of a verified reaction, its saddles among the attempts
    std::optional<double> depth;     ///< of the intermediate on a route of two, kcal/mol
    std::size_t shown = 0; ///< the attempt that is to be shown: the route's highest, or the first

    /// The shown attempt if it came to a first-order saddle, null otherwise.
    const SaddleTry *found() const;
};

/// How much of a displacement is in the bonds that a reaction makes and breaks, 0 to 1.
double shareInChangedBonds(const std::array<SaddleSide, 2> &sides,
                           const std::vector<Position> &positions,
                           const std::vector<Position> &displacements);

/// Search for the saddle point from the starts, and say what was found. Without sides, or where
/// these have no coordinates, from the first start alone; without sides the reaction is the one
/// that the ends tell.
/// Throws Error where the method cannot be used: no libxtb, elements beyond it, impossible charges.
ReactionSaddle saddleOf(const SaddleTask &task, const SaddleOptions &options);

/// Verify the first start as it stands, without a search.
/// Throws Error as saddleOf().
ReactionSaddle verificationOf(const SaddleTask &task, const SaddleOptions &options);

} // namespace saddlefit::host
