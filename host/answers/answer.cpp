#include "host/answers/answer.hpp"

#include "saddlefit/reaction.h"

#include "host/reactions/electrons.hpp"
#include "host/reactions/relaxation.hpp"
#include "host/reactions/several_starts.hpp"
#include "host/search/direction.hpp"
#include "host/structures/elements.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace saddlefit::host {

namespace {

// How many stored bonds the coarser surroundings count for in the usual lengths, and how much the
// other distances of a match that lies the wrong way round count in the fit (docs/quality.md).
constexpr double shrinkageMatched = 1.0;
constexpr double shrinkageUnmatched = 3.0;
constexpr double hintFactor = 10.0;
constexpr double equalLengths = 0.02;  // angstrom
constexpr std::size_t fewestBonds = 3; // behind a usual length that goes before a match's

// The bonds of both sides; orders that change are those of the reactant.
std::vector<StructureBond> bondsOfBothSides(const Reaction &reaction) {
    std::map<AtomPair, int> types;
    for (const auto *side : {&reaction.reactant, &reaction.product}) {
        for (const auto &bond : side->bonds)
            types.try_emplace(orderedPair(bond.atom1, bond.atom2), bond.type);
    }
    std::vector<StructureBond> bonds;
    for (const auto &[atoms, type] : types)
        bonds.push_back({atoms.first, atoms.second, type});
    return bonds;
}

std::vector<StructureBond> transitionStateBonds(const Reaction &reaction) {
    const auto mol = startMolecule(reaction);
    applyTransition(mol.get());
    return bondsOf(mol.get());
}

// Takes one reaction through the stages.
class Asking {
public:
    Asking(const Reaction &reaction, const StoredReactions &stored, const AnswerOptions &options)
        : reaction_(reaction), stored_(stored), options_(options) {}

    Answer answer();

private:
    void settleElectrons();
    void settleStage();
    bool findsMatch(Stage stage, Quality quality);
    void place(const Question &question, Search &search, const Match &match);
    bool followsUsualLengths(const Match &match) const;
    bool hasCentreOfItsOwn(const UsualLengths &usual) const;
    bool hasUsualLengths(const Match &match, const UsualLengths &usual) const;
    void constrainLengths();
    void takeUsualLengths();
    UsualLengths usualLengths(double m) const;
    void compareWithUsualLengths();
    void relaxBetween(Molecule &mol);
    void relax();
    void addFlank(const char *like, const Structure &side);
    std::string relaxationName() const;
    std::vector<Position> relaxedByDistances(const Relaxation &task, bool fromStart) const;
    std::vector<Position> relaxed(const std::vector<Position> &from,
                                  const std::vector<Position> &model,
                                  const std::vector<Constraint> &constraints,
                                  const std::vector<int> &fixed);
    void warnOnce(const std::string &text);

    const Reaction &reaction_;
    const StoredReactions &stored_;
    const AnswerOptions &options_;
    Answer answer_;
    SpecialDistances hints_; // of the centre, where no atom of it is placed
    bool xtbFailed_ = false;
};

Answer Asking::answer() {
    for (const auto &warning : reaction_.warnings)
        answer_.warnings.push_back({warning});
    settleElectrons();
    answer_.coordinates = reaction_.coordinates;
    answer_.bonds = transitionStateBonds(reaction_);
    const auto mol = startMolecule(reaction_);
    answer_.code = codeInSymbols(codeOf(mol.get()).data());
    settleStage();
    if (answer_.isLastResort())
        answer_.warnings.push_back({"the match is a record that was refused as implausible, and "
                                    "nothing else matches"});
    compareWithUsualLengths();
    if (answer_.outcome == Outcome::noMatch) constrainLengths();
    relax();
    return std::move(answer_);
}

void Asking::settleElectrons() {
    const auto electrons =
        electronsOf(reaction_.reactant, reaction_.product, {options_.charge, options_.unpaired});
    answer_.charge = electrons.charge;
    answer_.unpaired = electrons.unpaired;
    answer_.warnings.insert(answer_.warnings.end(), electrons.doubts.begin(),
                            electrons.doubts.end());
}

// Records that were refused are asked behind all others, and before there is none to build on.
void Asking::settleStage() {
    const auto &stages = options_.stages;
    const auto end = std::find(stages.begin(), stages.end(), Stage::lengths);
    for (const auto quality : {Quality::guarded, Quality::refused}) {
        if (quality == Quality::refused && !stored_.hasLastResorts()) break;
        const auto found = std::find_if(stages.begin(), end,
                                        [&](Stage stage) { return findsMatch(stage, quality); });
        if (found == end) continue;
        answer_.stage = *found;
        return;
    }
    if (end != stages.end()) answer_.stage = Stage::lengths;
}

bool Asking::findsMatch(Stage stage, Quality quality) {
    const auto question = questionFor(stage, reaction_);
    if (!question) return false;
    const auto code = codeOf(startMolecule(reaction_, *question).get());
    const auto asked = stored_.askedFor(stage, code, quality);
    Search search(reaction_, *question, *asked.database, options_.rivals, asked.leftOut);
    if (quality == Quality::refused && search.funnel().candidates == 0) return false;
    auto &report = answer_.reports.emplace_back();
    report.stage = stage;
    report.quality = quality;
    report.code = codeInSymbols(code.data());
    report.funnel = search.funnel();
    report.matches = search.matches();
    if (options_.placement == Placement::direction) preferSameDirection(reaction_, report.matches);
    if (report.matches.empty()) return false;
    const auto &match = report.matches.front();
    answer_.usualLengths = followsUsualLengths(match);
    place(*question, search, match);
    if (answer_.usualLengths) takeUsualLengths();
    return true;
}

// Start on the chosen structure, and finish: the library's main road.
void Asking::place(const Question &question, Search &search, const Match &match) {
    const auto mol = startMolecule(reaction_, question);
    const bool exact = search.start(*mol, match);
    answer_.startConstraints = constraintsOf(mol.get());
    if (!exact) relaxBetween(*mol);
    search.finish(*mol);
    answer_.outcome = exact ? Outcome::exact : Outcome::partial;
    answer_.match = match.name;
    answer_.coordinates = positionsOf(mol.get());
    answer_.constraints = constraintsOf(mol.get());
    answer_.frozen = frozenAtomsOf(mol.get());
}

// With nothing but the match to move the centre it keeps the match's place.
bool Asking::followsUsualLengths(const Match &match) const {
    if (options_.placement != Placement::direction || options_.relax == Relax::none) return false;
    if (match.exact) return false;
    const auto usual = usualLengths(shrinkageMatched);
    if (hasUsualLengths(match, usual)) return false;
    return directionOf(reaction_, match) != MatchDirection::same || hasCentreOfItsOwn(usual);
}

// A reaction that is its own reverse may lie either way round.
bool Asking::hasUsualLengths(const Match &match, const UsualLengths &usual) const {
    for (std::size_t i = 0; i < reaction_.changes.size(); ++i) {
        const double length = usual.at(reaction_.changes[i].atoms).length;
        if (std::abs(match.lengths[i] - length) > equalLengths) return false;
    }
    return true;
}

// Whether no stored reaction, the match included, has the same graph of a reaction centre, while
// the bonds are known well enough without it.
bool Asking::hasCentreOfItsOwn(const UsualLengths &usual) const {
    return std::none_of(reaction_.changes.begin(), reaction_.changes.end(),
                        [&](const auto &change) {
                            if (change.before != 0 && change.after != 0) return false;
                            const auto &bond = usual.at(change.atoms);
                            return bond.shared > centreLevel || bond.bonds < fewestBonds;
                        });
}

UsualLengths Asking::usualLengths(double m) const {
    const auto mol = startMolecule(reaction_);
    applyTransition(mol.get());
    return stored_.usualLengthsIn(*mol, m);
}

void Asking::compareWithUsualLengths() {
    const bool matched = answer_.outcome != Outcome::noMatch;
    const auto lengths = usualLengths(matched ? shrinkageMatched : shrinkageUnmatched);
    for (const auto &change : reaction_.changes)
        answer_.usual.push_back(lengths.at(change.atoms));
}

// A match that lies the wrong way round has the lengths of other bonds. What it says of the rest of
// the centre counts little.
void Asking::takeUsualLengths() {
    for (const int a : answer_.frozen) {
        for (const int b : answer_.frozen) {
            const auto &at = answer_.coordinates;
            if (a < b) {
                hints_[{a, b}] = {distanceBetween(at[static_cast<std::size_t>(a)],
                                                  at[static_cast<std::size_t>(b)]),
                                  hintFactor};
            }
        }
    }
    answer_.coordinates = reaction_.coordinates;
    answer_.frozen.clear();
    answer_.constraints.clear();
    const auto lengths = usualLengths(shrinkageMatched);
    for (const auto &change : reaction_.changes)
        answer_.constraints.push_back({change.atoms.first, change.atoms.second, -1, -1,
                                       lengths.at(change.atoms).length, 0.0, 0});
    answer_.startConstraints = answer_.constraints;
}

// Without a match: a distance for each changing bond, as long as such bonds usually are in the
// database, or as applyTransition() puts them where the database is not asked for that.
void Asking::constrainLengths() {
    const auto mol = startMolecule(reaction_);
    searcherStart(newSearcher().get(), mol.get(), nullptr);
    answer_.usualLengths = answer_.stage == Stage::lengths;
    std::map<AtomPair, Constraint> byAtoms; // the last one, after all steps of the bond
    for (const auto &constraint : constraintsOf(mol.get()))
        byAtoms[orderedPair(constraint.a, constraint.b)] = constraint;
    for (std::size_t i = 0; i < reaction_.changes.size(); ++i) {
        const auto &change = reaction_.changes[i];
        const auto found = byAtoms.find(change.atoms);
        if (found == byAtoms.end()) continue;
        auto constraint = found->second;
        if (answer_.usualLengths) constraint.value = answer_.usual[i].length;
        answer_.constraints.push_back(constraint);
    }
    answer_.startConstraints = answer_.constraints;
}

// xtb moves all atoms under the constraints of the match before the centre is placed, so that the
// rest is ready for it.
void Asking::relaxBetween(Molecule &mol) {
    if (options_.relax != Relax::xtb || answer_.usualLengths) return;
    const auto moved =
        relaxed(positionsOf(&mol), reaction_.coordinates, answer_.startConstraints, {});
    if (!xtbFailed_) setPositions(&mol, moved); // else it goes as without xtb
}

void Asking::relax() {
    if (answer_.outcome == Outcome::exact) return;
    if (options_.relax != Relax::none && answer_.frozen.size() < reaction_.reactant.atoms.size()) {
        answer_.coordinates = relaxed(answer_.coordinates, reaction_.coordinates,
                                      answer_.constraints, answer_.frozen);
        answer_.relaxedBy = relaxationName();
        if (options_.guesses > 1) addFlank("reactant", reaction_.reactant);
        if (options_.guesses > 2) addFlank("product", reaction_.product);
    }
    answer_.strains = strainIn(placedAtoms(reaction_, answer_.coordinates), reaction_.reactant,
                               reaction_.product);
}

void Asking::addFlank(const char *like, const Structure &side) {
    if (!hasCoordinates(side.atoms)) return;
    std::vector<Position> model;
    for (const auto &atom : side.atoms)
        model.push_back(atom.position);
    Flank flank{like, relaxed(answer_.coordinates, model, answer_.constraints, answer_.frozen), {}};
    flank.strains =
        strainIn(placedAtoms(reaction_, flank.coordinates), reaction_.reactant, reaction_.product);
    answer_.flanks.push_back(std::move(flank));
}

std::string Asking::relaxationName() const {
    if (options_.relax == Relax::xtb && !xtbFailed_) return options_.xtb.method;
    return options_.relax == Relax::uff ? "uff" : "distances";
}

std::vector<Position> Asking::relaxedByDistances(const Relaxation &task, bool fromStart) const {
    if (!fromStart || !reaction_.startsBetween) return relaxByDistances(task);
    return relaxFromSeveralStarts(task, reaction_.reactant, reaction_.product,
                                  centreOf(reaction_.changes));
}

// By distances first in any case: what goes on from there finds no atoms on top of each other.
std::vector<Position> Asking::relaxed(const std::vector<Position> &from,
                                      const std::vector<Position> &model,
                                      const std::vector<Constraint> &constraints,
                                      const std::vector<int> &fixed) {
    Relaxation task{placedAtoms(reaction_, from),
                    model,
                    bondsOfBothSides(reaction_),
                    constraints,
                    fixed,
                    hints_};
    auto positions = relaxedByDistances(task, &model == &reaction_.coordinates);
    if (options_.relax == Relax::internal) return positions;
    task.atoms = placedAtoms(reaction_, positions);
    if (!hints_.empty()) task.fixed = centreOf(reaction_.changes); // it stands now
    if (options_.relax == Relax::uff) return relaxByForceField(task);
    try {
        return optimiseWithXtb({reaction_.title, answer_.charge, answer_.unpaired, task.atoms,
                                task.fixed.empty() ? constraints : std::vector<Constraint>{},
                                task.fixed},
                               options_.xtb);
    } catch (const Error &error) {
        xtbFailed_ = true;
        std::string reason = error.what();
        std::replace(reason.begin(), reason.end(), '\n', ' ');
        warnOnce("relaxed by distances, for " + reason);
        return positions;
    }
}

void Asking::warnOnce(const std::string &text) {
    auto &warnings = answer_.warnings;
    const bool said = std::any_of(warnings.begin(), warnings.end(),
                                  [&](const Warning &warning) { return warning.text == text; });
    if (!said) warnings.push_back({text});
}

} // namespace

const Match *Answer::matched() const {
    if (reports.empty() || reports.back().matches.empty()) return nullptr;
    return &reports.back().matches.front();
}

std::vector<std::string> Answer::warningTexts() const {
    std::vector<std::string> texts;
    for (const auto &warning : warnings)
        texts.push_back(warning.text);
    return texts;
}

const std::vector<Position> &Answer::bestCoordinates() const {
    const auto *found = saddle ? saddle->found() : nullptr;
    return found ? found->coordinates : coordinates;
}

bool Answer::isLastResort() const {
    return matched() != nullptr && reports.back().quality == Quality::refused;
}

Answer answerTo(const Reaction &reaction, const StoredReactions &stored,
                const AnswerOptions &options) {
    try {
        return Asking(reaction, stored, options).answer();
    } catch (const Error &error) { // of a program: it knows no records
        throw error.at(reaction.reactant.origin);
    }
}

std::vector<StructureAtom> placedAtoms(const Reaction &reaction,
                                       const std::vector<Position> &positions) {
    auto atoms = reaction.reactant.atoms;
    for (std::size_t i = 0; i < atoms.size(); ++i)
        atoms[i].position = positions[i];
    return atoms;
}

std::string describeMatch(const Answer &answer) {
    if (answer.outcome == Outcome::noMatch) return "no match";
    return std::string(wordOf(answer.outcome)) + " " + answer.match;
}

} // namespace saddlefit::host
