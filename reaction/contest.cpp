#include "reaction/contest.hpp"

namespace saddlefit {

Stage Contest::enter(Trial &trial) {
    const Trial::Weighed &weighed = trial.weighed();
    if (weighed.candidateClass > class_) return Stage::composition;
    if (listener_) listener_->starting(weighed);
    if (loses(weighed.candidateClass, weighed.weight)) return Stage::weightBefore;

    const Mappings &mappings = trial.mappings();
    if (mappings.depth <= 0) return Stage::mapping;
    if (mappings.complete) return Stage::exact;
    if (mappings.candidateClass > class_) return Stage::classAfter;
    if (listener_) listener_->ending(trial.question().molecule(), mappings);
    if (loses(mappings.candidateClass, mappings.weight)) return Stage::weightAfter;
    if (mappings.candidateClass < class_ || mappings.weight > weight_) {
        class_ = mappings.candidateClass;
        weight_ = mappings.weight;
        misfit_ = worstMisfit;
    }
    return misfitWins(trial) ? Stage::chosen : Stage::contest;
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
