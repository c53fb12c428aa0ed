/// The contest of stored structures for the place of the best.
#pragma once

#include "reaction/trial.hpp"

namespace saddlefit {

/// How far a candidate came.
enum class Stage {
    leftOut,      ///< by the caller
    elements,     ///< one that cannot be counted
    notReached,   ///< an exact match or the host ended the search before
    composition,  ///< a worse class by composition
    weightBefore, ///< a lower weight by elements
    mapping,      ///< nothing of it maps
    classAfter,   ///< a worse class by mapping
    weightAfter,  ///< a lower weight by mapping
    contest,      ///< a larger misfit, or the same as an earlier one's
    chosen,       ///< the best
    exact         ///< a complete mapping, which ends the search
};

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

    /// Weigh, map and measure one candidate against the best so far. Stage::chosen is said of one
    /// that leads now, though a later one may take its place.
    Stage enter(Trial &trial);

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
