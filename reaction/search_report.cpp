#include "reaction/search_report.hpp"

#include "saddlefit/reaction.h"
#include "saddlefit/superpose.h"

#include "molecule/copy.hpp"
#include "molecule/ranges.hpp"
#include "reaction/reaction_database.hpp"
#include "reaction/search.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace saddlefit {

namespace {

bool isFinite(const Molecule &mol) {
    return std::ranges::all_of(atomsOf(mol), [](const Atom &atom) {
        return std::isfinite(atom.x) && std::isfinite(atom.y) && std::isfinite(atom.z);
    });
}

/// Whether all bonds name atoms that a record can have, the last of which is 65534.
bool hasBondsOfRecords(const Molecule &mol) {
    constexpr int noAtom = std::numeric_limits<std::uint16_t>::max();
    return std::ranges::all_of(bondsOf(mol), [](const Bond *bond) {
        return bond->atom1 < noAtom && bond->atom2 < noAtom;
    });
}

bool answersFor(std::span<const int> code, Molecule &mol) {
    const OwnedBlock<int> own(getTransitionCode(&mol));
    return std::ranges::equal(terminated(own.get()), code);
}

SearchClass publicClass(CandidateClass candidateClass) {
    return static_cast<SearchClass>(candidateClass);
}

void fillInMappings(CandidateReport &report, const Mappings &mappings) {
    report.depth = std::max(mappings.depth, 0);
    report.solutionCount = static_cast<int>(mappings.scores.size());
    if (mappings.first.empty()) return;
    report.classAfter = publicClass(mappings.candidateClass);
    report.weightAfter = mappings.weight;
    report.partners = allocated<int>(mappings.first.size());
    std::ranges::transform(mappings.first, report.partners,
                           [](int partner) { return std::max(partner, -1); });
}

/// All that was found out about a candidate.
void fillIn(CandidateReport &report, const Trial &trial) {
    if (const auto &weighed = trial.weighedSoFar()) {
        report.classBefore = publicClass(weighed->candidateClass);
        report.score = weighed->score;
        report.weightBefore = weighed->weight;
    }
    const auto &mappings = trial.mappedSoFar();
    if (mappings) fillInMappings(report, *mappings);
    double least = worstMisfit;
    for (std::size_t i = 0; i < trial.measuredSoFar().size(); ++i) {
        const double misfit = trial.measuredSoFar()[i];
        if (!(misfit < least)) continue;
        report.misfit = least = misfit;
        report.onMirrorImage = mappings->mirrored(i) ? 1 : 0;
    }
}

/// Searches for one match after the other and writes down what comes of it.
class Reporter {
public:
    Reporter(const ReactionDatabase &database, const Molecule &asked);
    OwnedSearchResult report(const SearchOptions &options);

private:
    SearchStage reasonToLeaveOut(std::size_t candidate, const SearchOptions &options) const;
    void beginReports(Search &search, const SearchOptions &options);
    void findMatches(Search &search, int wanted);
    void add(const Search &search, const Choice &choice);
    CandidateReport &reportOn(std::size_t candidate) { return result_->candidates[candidate]; }

    OwnedMol mol_;
    OwnedBlock<int> code_;
    ReactionDatabase::Stored stored_;
    OwnedSearchResult result_;
};

Reporter::Reporter(const ReactionDatabase &database, const Molecule &asked)
    : mol_(copyOf(asked)), result_(allocated<SearchResult>(1)) {
    applyTransition(mol_.get());
    code_.reset(getTransitionCode(mol_.get()));
    if (code_) stored_ = database.storedWith(terminated(code_.get()));
    result_->atomCount = mol_->atomCount;
}

OwnedSearchResult Reporter::report(const SearchOptions &options) {
    if (!code_) return std::move(result_);
    Question question(*mol_);
    Search search(question, stored_.candidates, Search::Steps::kept);
    beginReports(search, options);
    findMatches(search, std::max(options.best, 1));
    for (std::size_t i = 0; i < stored_.candidates.size(); ++i)
        if (const Trial *trial = search.stepsWith(i)) fillIn(reportOn(i), *trial);
    return std::move(result_);
}

/// SEARCH_NOT_REACHED if there is none.
SearchStage Reporter::reasonToLeaveOut(std::size_t candidate, const SearchOptions &options) const {
    const auto listed = countedSpan(options.leftOut, options.leftOutCount);
    if (std::ranges::find(listed, stored_.records[candidate]) != listed.end())
        return SEARCH_LEFT_OUT;
    Molecule &mol = *stored_.candidates[candidate];
    if (!options.soundOnly) return SEARCH_NOT_REACHED;
    if (!isFinite(mol)) return SEARCH_NOT_FINITE;
    const bool sound = hasBondsOfRecords(mol) && answersFor(terminated(code_.get()), mol);
    return sound ? SEARCH_NOT_REACHED : SEARCH_DAMAGED;
}

void Reporter::beginReports(Search &search, const SearchOptions &options) {
    const std::size_t count = stored_.candidates.size();
    result_->candidates = allocated<CandidateReport>(count);
    for (std::size_t i = 0; i < count; ++i) {
        CandidateReport &report = reportOn(i);
        report.record = stored_.records[i];
        report.stage = reasonToLeaveOut(i, options);
        report.classBefore = report.classAfter = SEARCH_CLASS_UNKNOWN;
        report.misfit = -1;
        ++result_->candidateCount;
        report.name = copyOf(stored_.candidates[i]->name).release();
        if (report.stage != SEARCH_NOT_REACHED) search.leaveOut(i);
    }
}

void Reporter::findMatches(Search &search, int wanted) {
    const std::size_t most =
        std::min<std::size_t>(static_cast<std::size_t>(wanted), stored_.candidates.size());
    result_->matches = allocated<SearchMatch>(most);
    for (std::size_t rank = 0; rank < std::max<std::size_t>(most, 1); ++rank) {
        const std::optional<Choice> choice = search.best();
        for (std::size_t i = 0; rank == 0 && i < search.stages().size(); ++i)
            if (reportOn(i).stage == SEARCH_NOT_REACHED) reportOn(i).stage = search.stages()[i];
        if (!choice) break;
        add(search, *choice);
        if (choice->exact) break;
        search.leaveOut(choice->candidate);
    }
    result_->interrupted = search.interrupted() ? 1 : 0;
}

void Reporter::add(const Search &search, const Choice &choice) {
    SearchMatch &match = result_->matches[result_->matchCount++];
    match.candidate = static_cast<int>(choice.candidate);
    match.exact = choice.exact ? 1 : 0;
    match.structure = stored_.candidates[choice.candidate].release();
    match.atomCount = mol_->atomCount;
    match.map = copyOf(std::span<const int>(choice.map)).release();
    const Handedness &stored = search.stepsWith(choice.candidate)->handedness();
    match.mirrored = isMirrored(*match.structure, stored) ? 1 : 0;
    if (choice.exact) return;
    double molStays[16], structureStays[16]; // asked for, so that nothing moves
    match.misfit = alignMapMols(mol_.get(), match.structure, match.map, molStays, structureStays);
}

} // namespace

OwnedSearchResult reportedSearch(const ReactionDatabase &database, const Molecule &asked,
                                 const SearchOptions &options) {
    return Reporter(database, asked).report(options);
}

} // namespace saddlefit

using namespace saddlefit;

void freeSearchResult(SearchResult *result) {
    if (!result) return;
    for (const CandidateReport &report : countedSpan(result->candidates, result->candidateCount)) {
        std::free(report.name);
        std::free(report.partners);
    }
    for (const SearchMatch &match : countedSpan(result->matches, result->matchCount)) {
        freeMol(match.structure);
        std::free(match.map);
    }
    std::free(result->candidates);
    std::free(result->matches);
    std::free(result);
}

const char *searchClassName(int searchClass) {
    const bool known = searchClass >= SEARCH_CLASS_EXACT && searchClass <= SEARCH_CLASS_NONE;
    return known ? className(static_cast<CandidateClass>(searchClass)) : "";
}
