/// The saddle point of a reaction as it is told to people and programs.
#pragma once

#include "host/reactions/reaction_files.hpp"

#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

struct SaddleOptions {
    std::string method = "gfn2"; ///< or gfn1, gfnff
    int attempts = 3;            ///< searches for one saddle between both sides
    int steps = 2;               ///< saddles that the reaction may go over
    bool fine = false;           ///< whether the ends are come to in small steps
};

/// Coordinates to search from, angstrom, with a word for them.
struct StartGeometry {
    std::string name;
    std::vector<Position> positions;
};

/// A minimum beside the saddle. Its bonds are told by what became of the reactant's.
struct SaddleEnd {
    std::string side;    ///< "reactant", "product" or "neither"
    double energy = 0.0; ///< hartree
    std::vector<AtomPair> made;
    std::vector<AtomPair> broken;
};

struct SaddleTry {
    std::string start; ///< name of the start geometry, "scan" or "follow"
    std::string outcome;
    std::optional<double> energy;     ///< hartree; none unless a stationary point was found
    std::optional<double> wavenumber; ///< cm-1, of the lowest mode; likewise
    int gradients = 0;
};

struct ReactionSaddle {
    std::string outcome; ///< "verified", "verified in 2 steps", "other ends", "higher order", ...
    std::string reason;  ///< what is to be said beside it; empty if nothing
    bool verified = false;
    std::string level;                ///< "gfn2"
    std::string check;                ///< how the ends were come to: "quick" or "fine"
    std::optional<double> energy;     ///< of the (highest) saddle, hartree
    std::optional<double> barrier;    ///< from the reactant's end, kcal/mol
    std::optional<double> wavenumber; ///< of its lowest mode, cm-1; imaginary ones are negative
    double modeShare = 0.0;           ///< of that mode in the changing bonds, 0 to 1
    bool flat = false;                ///< a barrier below 1 kcal/mol or a mode below 100 cm-1
    int gradients = 0;
    std::vector<SaddleEnd> ends;
    std::vector<SaddleTry> attempts;
    std::vector<std::size_t> route;    ///< of a verified reaction, its saddles among the attempts
    std::vector<Position> coordinates; ///< angstrom; empty unless a stationary point was found
};

/// Search for a reaction's saddle point from these starts, the best first, and say what was found.
/// Throws Error where the method cannot be used: no libxtb, elements beyond it, impossible charges.
ReactionSaddle saddleOf(const Reaction &reaction, const std::vector<StartGeometry> &starts,
                        int charge, int unpaired, const SaddleOptions &options);

} // namespace saddlefit::host
