// The search for the stored structure that fits best, and what there is to say about it.
#pragma once

#include "host/search/stored_reactions.hpp"
#include "host/system/words.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

// What the library prints for a candidate that it looks into.
struct CandidateLines {
    std::string setBefore; // "exact", "super", "sub" or "none", by composition
    int score = 0;         // atoms that could be mapped
    int weightBefore = 0;  // of the neighbourhood, by elements
    bool mapped = false;   // whether the second line followed; the rest holds only then
    std::string setAfter;  // by mapping
    int depth = 0;         // atoms that were mapped
    int weightAfter = 0;   // of the neighbourhood, by mapping
    std::vector<std::string> atoms;
};

std::vector<CandidateLines> parseProgress(std::string_view text);

// What a changing bond of the molecule does in a stored structure.
enum class Role { breaks, forms, weakens, strengthens, none };

template <>
inline constexpr auto
    wordsFor<Role> = std::to_array<Word<Role>>({{Role::breaks, "breaks"},
                                                {Role::forms, "forms"},
                                                {Role::weakens, "weakens"},
                                                {Role::strengthens, "strengthens"},
                                                {Role::none, "none"}});

Role roleOf(const BondChange &change);

// A stored structure, laid on the molecule.
struct Match {
    std::size_t candidate = 0; // its index
    std::string name;
    CandidateLines lines;
    bool exact = false; // the rest is empty then
    bool mirrored = false;
    double misfit = 0.0;         // of the reaction centre to the start geometry, angstrom
    std::vector<int> map;        // per atom of the molecule, -1 outside of the centre
    std::vector<Role> roles;     // per change of the reaction
    std::vector<double> lengths; // likewise, in the stored structure, 0 if not mapped; angstrom
};

// A search on some candidates, which stay as they are.
class Search {
public:
    Search(const Reaction &reaction, const Question &question,
           const std::vector<HostMolecule> &candidates);

    // The matches that the library prefers, best first, each found by a search without those before
    // it; none behind an exact one.
    std::vector<Match> best(std::size_t count);

    // A database with this match's structure alone.
    const std::string &holding(const Match &match) { return file_.holding({match.candidate}); }

    // What the search on all candidates printed.
    const std::string &progress() const { return progress_; }

private:
    bool findBest(const std::vector<std::size_t> &indices, Match &match);
    Match describe(std::size_t candidate);
    void measure(Molecule &mol, Molecule &stored, int *map, Match &match);
    const Reaction &reaction_;
    const Question &question_;
    const std::vector<HostMolecule> &candidates_;
    SearchFile file_;
    std::string progress_;
};

// The atoms of a reaction as the library's molecule, where it starts: with the reactant's bonds and
// all changes, or with those of a stage.
HostMolecule startMolecule(const Reaction &reaction);
HostMolecule startMolecule(const Reaction &reaction, const Question &question);

// How far apart the best matches put the changing bonds: the mean over the bonds of their standard
// deviations, angstrom; 0 for less than two matches.
double spreadOf(const std::vector<Match> &matches);

} // namespace saddlefit::host
