#include "reaction/contest.hpp"

namespace saddlefit {

SearchStage Contest::enter(Trial &trial) {
    const Trial::Weighed &weighed = trial.weighed();
    if (weighed.candidateClass > class_) return SEARCH_COMPOSITION;
    if (listener_) listener_->starting(weighed);
    if (loses(weighed.candidateClass, weighed.weight)) return SEARCH_WEIGHT_BEFORE;

    const Mappings &mappings = trial.mappings();
    if (mappings.depth <= 0) return SEARCH_MAPPING;
    if (mappings.complete) return SEARCH_EXACT;
    if (mappings.candidateClass > class_) return SEARCH_CLASS_AFTER;
    if (listener_) listener_->ending(trial.question().molecule(), mappings);
    if (loses(mappings.candidateClass, mappings.weight)) return SEARCH_WEIGHT_AFTER;
    if (mappings.candidateClass < class_ || mappings.weight > weight_) {
        class_ = mappings.candidateClass;
        weight_ = mappings.weight;
        misfit_ = worstMisfit;
    }
    return misfitWins(trial) ? SEARCH_CHOSEN : SEARCH_CONTEST;
}

/// Before a mapping that may win, all earlier ones are measured, and after one that won, all later
/// ones, for the structure is handed over from where the last one left it. But if no later one may
/// win and none has won, the rest decides nothing.
bool Contest::misfitWins(Trial &trial) {
    const Mappings &mappings = trial.mappings();
    const std::size_t needed = trial.neededToBeat(misfit_);
    bool won = false;
    for (std::size_t i = 0; i < (won ? mappings.ofCentre.size() : needed); ++i) {
        const double misfit = trial.misfit(i);
        if (!(misfit < misfit_)) continue;
        misfit_ = misfit;
        mapping_ = i;
        won = true;
    }
    return won;
}

} // namespace saddlefit
