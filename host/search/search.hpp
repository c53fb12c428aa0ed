/// The search for the stored structure that fits best, and what there is to say about it.
#pragma once

#include "host/search/open_search.hpp"
#include "host/search/stages.hpp"
#include "host/system/words.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// What the library found out about a candidate.
struct CandidateFigures {
    std::string classBefore;        ///< "exact", "super", "sub" or "none", by composition
    int score = 0;                  ///< atoms that could be mapped
    int weightBefore = 0;           ///< of the neighbourhood, by elements
    std::string classAfter;         ///< by mapping
    int depth = 0;                  ///< atoms that were mapped
    int weightAfter = 0;            ///< of the neighbourhood, by mapping
    std::vector<std::string> atoms; ///< labels of the atoms that were mapped
};

/// What a changing bond of the molecule does in a stored structure.
enum class Role { breaks, forms, weakens, strengthens, none };

template <>
inline constexpr auto
    wordsFor<Role> = std::to_array<Word<Role>>({{Role::breaks, "breaks"},
                                                {Role::forms, "forms"},
                                                {Role::weakens, "weakens"},
                                                {Role::strengthens, "strengthens"},
                                                {Role::none, "none"}});

Role roleOf(const BondChange &change);

/// A stored structure, laid on the molecule.
struct Match {
    std::size_t candidate = 0; ///< its index among those of the search
    std::string name;
    CandidateFigures figures;
    bool exact = false; ///< the rest is empty then
    bool mirrored = false;
    double misfit = 0.0;         ///< of the reaction centre to the start geometry, angstrom
    std::vector<int> map;        ///< per atom of the molecule, -1 outside of the centre
    std::vector<Role> roles;     ///< per change of the reaction
    std::vector<double> lengths; ///< likewise, in the stored structure, 0 if not mapped; angstrom
};

/// How far the candidates of a search came.
struct Funnel {
    std::size_t candidates = 0; ///< stored structures with the code
    std::size_t lookedInto = 0; ///< whose composition was no worse than the best so far
    std::size_t mapped = 0;     ///< that could be mapped, and were no worse than the best so far
};

/// One search for a reaction, and the start on what it found.
class Search {
public:
    /// Look for the `count` structures that the library prefers, among all records but some.
    Search(const Reaction &reaction, const Question &question, const ReactionDatabase &database,
           std::size_t count, const std::vector<int> &leftOut = {});

    /// Best first, each what is found without those before it; none behind an exact one.
    std::vector<Match> matches() const;

    Funnel funnel() const;

    /// Start on one of the matches with the molecule that was searched for. True if that is all: an
    /// exact match gives its coordinates away.
    bool start(Molecule &mol, const Match &match);

    /// Place the reaction centre on the match.
    void finish(Molecule &mol);

private:
    Match described(const SearchMatch &found) const;
    CandidateFigures figuresOf(const CandidateReport &report) const;
    void measure(const SearchMatch &found, Match &match) const;

    const Reaction &reaction_;
    OwnedSearcher searcher_;
    OwnedResult result_;
};

/// The atoms of a reaction as the library's molecule, where it starts: with the reactant's bonds
/// and all changes, or with those of a stage.
HostMolecule startMolecule(const Reaction &reaction);
HostMolecule startMolecule(const Reaction &reaction, const Question &question);

/// How far apart the best matches put the changing bonds: the mean over the bonds of their standard
/// deviations, angstrom; 0 for less than two matches.
double spreadOf(const std::vector<Match> &matches);

} // namespace saddlefit::host
