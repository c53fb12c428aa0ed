#include "host/search/search.hpp"

#include "saddlefit/reaction.h"

#include "host/store/database_file.hpp"
#include "host/structures/labels.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <numeric>
#include <span>
#include <stdexcept>

namespace saddlefit::host {

namespace {

template <class T> std::span<T> counted(T *first, int count) {
    return {first, static_cast<std::size_t>(count)};
}

const Bond *bondBetween(const Molecule &mol, const AtomPair &atoms) {
    for (int i = 0; i < mol.bondCount; ++i) {
        if (orderedPair(mol.bonds[i]->atom1, mol.bonds[i]->atom2) == atoms) return mol.bonds[i];
    }
    return nullptr;
}

bool isNamed(int a, int b, const AtomPair &atoms) {
    return orderedPair(a, b) == atoms;
}

Role roleIn(const Molecule &stored, const AtomPair &atoms) {
    const Bond *bond = bondBetween(stored, atoms);
    const bool loose = bond != nullptr && bond->type == 0;
    for (int i = 0; i < stored.transitionCount; ++i) {
        const auto &step = stored.transitions[i];
        if (isNamed(step.breakA, step.breakB, atoms)) return loose ? Role::breaks : Role::weakens;
        if (isNamed(step.formA, step.formB, atoms)) return loose ? Role::forms : Role::strengthens;
    }
    return Role::none;
}

// The lengths of each change in all the matches; changes that one of them does not map are left
// out.
std::vector<std::vector<double>> lengthsByChange(const std::vector<Match> &matches) {
    std::vector<std::vector<double>> byChange;
    if (matches.size() < 2) return byChange;
    for (std::size_t i = 0; i < matches.front().lengths.size(); ++i) {
        std::vector<double> lengths;
        for (const auto &match : matches)
            lengths.push_back(match.lengths[i]);
        const bool mapped = std::find(lengths.begin(), lengths.end(), 0.0) == lengths.end();
        if (mapped) byChange.push_back(lengths);
    }
    return byChange;
}

double standardDeviation(const std::vector<double> &values) {
    const auto count = static_cast<double>(values.size());
    const double mean = std::accumulate(values.begin(), values.end(), 0.0) / count;
    double squares = 0.0;
    for (const double value : values)
        squares += (value - mean) * (value - mean);
    return std::sqrt(squares / count);
}

} // namespace

Role roleOf(const BondChange &change) {
    if (change.after == 0) return Role::breaks;
    if (change.before == 0) return Role::forms;
    return halfOrders(change.after) < halfOrders(change.before) ? Role::weakens : Role::strengthens;
}

HostMolecule startMolecule(const Reaction &reaction) {
    return startMolecule(reaction, {reaction.reactant.bonds, reaction.transitions});
}

HostMolecule startMolecule(const Reaction &reaction, const Question &question) {
    auto mol = hostMolecule(reaction.reactant.atoms, question.bonds, question.transitions);
    C_setName(mol.get(), reaction.title.c_str());
    setPositions(mol.get(), reaction.coordinates);
    return mol;
}

Search::Search(const Reaction &reaction, const Question &question, const ReactionDatabase &database,
               std::size_t count, const std::vector<int> &leftOut)
    : reaction_(reaction), searcher_(newSearcher()) {
    SearchOptions options{};
    options.best = static_cast<int>(count);
    options.leftOut = leftOut.data();
    options.leftOutCount = static_cast<int>(leftOut.size());
    result_ = searchIn(database, *searcher_, *startMolecule(reaction, question), options);
}

std::vector<Match> Search::matches() const {
    std::vector<Match> matches;
    for (const auto &found : counted(result_->matches, result_->matchCount))
        matches.push_back(described(found));
    return matches;
}

Match Search::described(const SearchMatch &found) const {
    const auto &report = result_->candidates[found.candidate];
    Match match;
    match.candidate = static_cast<std::size_t>(found.candidate);
    match.name = inOneLine(report.name == nullptr ? "" : report.name);
    match.figures = figuresOf(report);
    match.exact = found.exact == 1;
    if (!match.exact) measure(found, match);
    return match;
}

CandidateFigures Search::figuresOf(const CandidateReport &report) const {
    CandidateFigures figures{searchClassName(report.classBefore),
                             report.score,
                             report.weightBefore,
                             searchClassName(report.classAfter),
                             report.depth,
                             report.weightAfter,
                             {}};
    if (report.partners == nullptr) return figures;
    const auto &atoms = reaction_.reactant.atoms;
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        if (report.partners[i] >= 0) figures.atoms.push_back(labelIn(atoms, static_cast<int>(i)));
    }
    return figures;
}

void Search::measure(const SearchMatch &found, Match &match) const {
    match.mirrored = found.mirrored == 1;
    match.misfit = found.misfit;
    match.map.assign(found.map, found.map + found.atomCount);
    const Molecule &stored = *found.structure;
    for (const auto &change : reaction_.changes) {
        const int a = found.map[change.atoms.first], b = found.map[change.atoms.second];
        const bool mapped = a >= 0 && b >= 0;
        match.roles.push_back(mapped ? roleIn(stored, orderedPair(a, b)) : Role::none);
        match.lengths.push_back(mapped ? calcDist(stored.atoms + a, stored.atoms + b) : 0.0);
    }
}

Funnel Search::funnel() const {
    Funnel funnel;
    for (const auto &report : counted(result_->candidates, result_->candidateCount)) {
        if (report.stage != SEARCH_NOT_FINITE && report.stage != SEARCH_LEFT_OUT)
            ++funnel.candidates;
        if (report.stage >= SEARCH_WEIGHT_BEFORE) ++funnel.lookedInto;
        if (report.stage >= SEARCH_WEIGHT_AFTER && report.stage != SEARCH_EXACT) ++funnel.mapped;
    }
    return funnel;
}

bool Search::start(Molecule &mol, const Match &match) {
    for (const auto &found : counted(result_->matches, result_->matchCount)) {
        if (static_cast<std::size_t>(found.candidate) != match.candidate) continue;
        const int started = searcherStartOn(searcher_.get(), &mol, &found);
        if (started < 0) throw std::bad_alloc();
        return started == 0;
    }
    throw std::invalid_argument("a match of another search");
}

void Search::finish(Molecule &mol) {
    searcherFinish(searcher_.get(), &mol);
}

double spreadOf(const std::vector<Match> &matches) {
    double sum = 0.0;
    int bonds = 0;
    for (const auto &lengths : lengthsByChange(matches)) {
        sum += standardDeviation(lengths);
        ++bonds;
    }
    return bonds == 0 ? 0.0 : sum / bonds;
}

} // namespace saddlefit::host
