/// The contest of stored structures for the place of the best.
#pragma once

#include "saddlefit/search.h"

#include "reaction/trial.hpp"

namespace saddlefit {

/// Hears of the candidates that are looked into.
class ContestListener {
public:
    virtual ~ContestListener() = default;
    virtual void starting(const Trial::Weighed &weighed) = 0;
    virtual void ending(const Molecule &mol, const Mappings &mappings) = 0;

protected:
    ContestListener() = default;
    ContestListener(const ContestListener &) = default;
    ContestListener &operator=(const ContestListener &) = default;
};

/// A lower class wins, then a higher weight, then a smaller misfit, then the earlier candidate.
class Contest {
public:
    explicit Contest(ContestListener *listener = nullptr) : listener_(listener) {}

    /// Weigh, map and measure one candidate against the best so far. SEARCH_CHOSEN is said of one
    /// that leads now, though a later one may take its place.
    SearchStage enter(Trial &trial);

    /// The mapping by which the last one that was chosen leads.
    std::size_t leadingMapping() const { return mapping_; }

private:
    bool loses(CandidateClass candidateClass, int weight) const {
        return candidateClass == class_ && weight < weight_;
    }
    bool misfitWins(Trial &trial);

    static constexpr int worstWeight = -1000;

    ContestListener *listener_;
    std::size_t mapping_ = 0;
    CandidateClass class_ = CandidateClass::none;
    int weight_ = worstWeight;
    double misfit_ = worstMisfit;
};

} // namespace saddlefit
