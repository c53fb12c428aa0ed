#include "host/search/search.hpp"

#include "saddlefit/reaction.h"
#include "saddlefit/superpose.h"

#include "host/store/database_file.hpp"
#include "host/system/diverted_stdout.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <sstream>

namespace saddlefit::host {

namespace {

// Reads "Starting with super set, 8 score, 6 weight" behind its second word.
bool readNumbers(std::istream &line, std::string &set, int &score, int &weight) {
    std::string word;
    return static_cast<bool>(line >> set >> word >> score >> word >> weight);
}

// The names by which the search file calls its candidates are their indices.
std::size_t indexIn(const std::string &name) {
    return std::stoul(name);
}

double signedVolume(const Atom *atoms, int first) {
    const Atom &o = atoms[first];
    std::array<std::array<double, 3>, 3> edge{};
    for (int i = 0; i < 3; ++i) {
        const Atom &a = atoms[first + i + 1];
        edge[static_cast<std::size_t>(i)] = {a.x - o.x, a.y - o.y, a.z - o.z};
    }
    const auto &[u, v, w] = edge;
    return u[0] * (v[1] * w[2] - v[2] * w[1]) + u[1] * (v[2] * w[0] - v[0] * w[2]) +
           u[2] * (v[0] * w[1] - v[1] * w[0]);
}

// Compares four consecutive atoms, those that lie least in a plane.
bool areMirrorImages(const Molecule &a, const Molecule &b) {
    double largest = 0.0, other = 0.0;
    for (int first = 0; first + 3 < a.atomCount; ++first) {
        const double volume = signedVolume(a.atoms, first);
        if (std::abs(volume) <= std::abs(largest)) continue;
        largest = volume;
        other = signedVolume(b.atoms, first);
    }
    return largest * other < 0.0;
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

// What a search leaves.
struct Outcome {
    bool success = false;
    HostMolecule mol;   // that was asked for
    HostMolecule match; // none with an exact one
    std::unique_ptr<int, decltype(&std::free)> map{nullptr, &std::free};
    std::string progress;
};

Outcome search(const std::string &database, HostMolecule mol) {
    applyTransition(mol.get());
    Molecule *match = nullptr;
    int *map = nullptr;
    CapturedStdout captured;
    const bool success = mapDB(database.c_str(), mol.get(), &match, &map) == 1;
    return {success, std::move(mol), HostMolecule(match), {map, &std::free}, captured.text()};
}

} // namespace

std::vector<CandidateLines> parseProgress(std::string_view text) {
    std::vector<CandidateLines> candidates;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string first, with;
        words >> first >> with;
        if (first == "Starting") {
            auto &entry = candidates.emplace_back();
            readNumbers(words, entry.setBefore, entry.score, entry.weightBefore);
        } else if (first == "Ending" && !candidates.empty()) {
            auto &entry = candidates.back();
            entry.mapped = readNumbers(words, entry.setAfter, entry.depth, entry.weightAfter);
            if (!std::getline(lines, line)) break;
            std::istringstream labels(line);
            for (std::string label; labels >> label;)
                entry.atoms.push_back(label);
        }
    }
    return candidates;
}

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

Search::Search(const Reaction &reaction, const Question &question,
               const std::vector<HostMolecule> &candidates)
    : reaction_(reaction), question_(question), candidates_(candidates), file_(candidates) {}

std::vector<Match> Search::best(std::size_t count) {
    std::vector<std::size_t> left(candidates_.size());
    std::iota(left.begin(), left.end(), 0U);
    std::vector<Match> matches;
    Match match;
    while (matches.size() < count && !left.empty() && findBest(left, match)) {
        matches.push_back(describe(match.candidate));
        if (matches.back().exact) break;
        std::erase(left, match.candidate);
    }
    return matches;
}

bool Search::findBest(const std::vector<std::size_t> &indices, Match &match) {
    const auto outcome = search(file_.holding(indices), startMolecule(reaction_, question_));
    if (indices.size() == candidates_.size()) progress_ = outcome.progress;
    if (outcome.success) match.candidate = indexIn(nameOf(outcome.mol.get()));
    return outcome.success;
}

// Search once more, on this candidate alone: then all that is printed is about it.
Match Search::describe(std::size_t candidate) {
    const auto outcome = search(file_.holding({candidate}), startMolecule(reaction_, question_));
    const auto lines = parseProgress(outcome.progress);
    Match match;
    match.candidate = candidate;
    match.name = inOneLine(nameOf(candidates_[candidate].get()));
    if (!lines.empty()) match.lines = lines.front();
    match.exact = outcome.success && !outcome.match;
    if (outcome.match) measure(*outcome.mol, *outcome.match, outcome.map.get(), match);
    return match;
}

void Search::measure(Molecule &mol, Molecule &stored, int *map, Match &match) {
    match.mirrored = areMirrorImages(*candidates_[match.candidate], stored);
    match.map.assign(map, map + mol.atomCount);
    std::array<double, 16> molStays{}, storedStays{}; // asked for, so that nothing moves
    match.misfit = alignMapMols(&mol, &stored, map, molStays.data(), storedStays.data());
    for (const auto &change : reaction_.changes) {
        const int a = map[change.atoms.first], b = map[change.atoms.second];
        const bool mapped = a >= 0 && b >= 0;
        match.roles.push_back(mapped ? roleIn(stored, orderedPair(a, b)) : Role::none);
        match.lengths.push_back(mapped ? calcDist(stored.atoms + a, stored.atoms + b) : 0.0);
    }
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
