/// One stored structure held against the molecule of a search.
#pragma once

#include "reaction/composition.hpp"
#include "reaction/handedness.hpp"
#include "reaction/question.hpp"

#include <optional>
#include <vector>

namespace saddlefit {

/// The mappings of the molecule onto a candidate.
struct Mappings {
    int depth = 0;         ///< atoms with a partner; 0 or less if nothing maps
    bool complete = false; ///< the first one extends to all atoms
    CandidateClass candidateClass = CandidateClass::none;
    int weight = 0;                         ///< of the neighbourhood, by the first one
    std::vector<int> first;                 ///< partner of each atom of the molecule, or negative
    std::vector<std::vector<int>> ofCentre; ///< each one, the reaction centre only
    std::vector<int> scores;                ///< atoms mapped; negative onto the mirror image

    bool mirrored(std::size_t mapping) const { return scores[mapping] < 0; }
};

/// What a candidate comes to, found out step by step and each step but once. No other candidate has
/// a say in it, so several contests may share a trial.
class Trial {
public:
    /// Moves the candidate as the steps go on; one with elements that cannot be counted has no
    /// trial.
    Trial(Question &question, Molecule &candidate) : question_(question), candidate_(candidate) {}

    /// By composition.
    struct Weighed {
        CandidateClass candidateClass;
        int score;  ///< atoms that could be mapped
        int weight; ///< of the neighbourhood, by elements
    };

    /// By element: class, score and weight.
    const Weighed &weighed();

    /// By mapping.
    const Mappings &mappings();

    /// How many mappings to measure, from the first on, until none is left that may come out below
    /// a misfit.
    std::size_t neededToBeat(double misfit);

    /// The misfit of a mapping's superposition. Each measurement moves the candidate, and the next
    /// one starts from there to the last digit: so all earlier ones are measured before it.
    double misfit(std::size_t mapping);

    /// Of the candidate as it is stored; known once it was mapped.
    const Handedness &handedness() const { return handedness_; }

    const Question &question() const { return question_; }

    /// The steps taken so far.
    const std::optional<Weighed> &weighedSoFar() const { return weighed_; }
    const std::optional<Mappings> &mappedSoFar() const { return mappings_; }
    const std::vector<double> &measuredSoFar() const { return misfits_; }

private:
    Mappings map();
    bool mapsCompletely(std::vector<int> &first);
    double measure(std::size_t mapping);

    Question &question_;
    Molecule &candidate_;
    std::optional<Weighed> weighed_;
    std::optional<Mappings> mappings_;
    std::vector<double> misfits_;
    Handedness handedness_;
};

/// Larger than any misfit: what a contest starts from, in angstrom.
inline constexpr double worstMisfit = 1e6;

} // namespace saddlefit
