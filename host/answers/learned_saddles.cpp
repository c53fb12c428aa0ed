#include "host/answers/learned_saddles.hpp"

#include "host/structures/molfile.hpp"
#include "host/structures/perception.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <utility>

namespace saddlefit::host {

namespace {

bool joinsBothSides(const SaddleTry &attempt) {
    return attempt.outcome == "verified" && attempt.start != "follow";
}

std::string energyField(double energy) {
    return field("ENERGY", formatted("%.8f", energy));
}

std::string energyOfSide(const SaddleTry &attempt, const char *side) {
    for (const auto &end : attempt.ends)
        if (end.side == side) return energyField(end.energy);
    return {};
}

bool changesBonds(const SaddleTry &attempt) {
    const auto &ends = attempt.ends;
    return ends.size() == 2 && (ends[0].made != ends[1].made || ends[0].broken != ends[1].broken);
}

std::string recordOf(const Place &origin, const std::string &title,
                     const std::vector<StructureAtom> &atoms,
                     const std::vector<StructureBond> &bonds, const std::string &fields) {
    return molfile(origin, title, atoms, bonds) + fields + sdRecordEnd + "\n";
}

std::string perceivedRecord(const Place &origin, const std::string &title,
                            const std::vector<StructureAtom> &atoms, const SaddleEnd &end) {
    return recordOf(origin, title, atoms, perceivedCovalentBonds(atoms), energyField(end.energy));
}

using Facts = std::vector<std::pair<std::string, std::string>>;

// As data fields, which a database keeps beside the record.
Facts factsOf(const ReactionSaddle &saddle, const SaddleTry &attempt, int charge, int unpaired) {
    return {{"LEVEL", saddle.level},
            {"VERIFIED",
             std::string("one imaginary mode; both ends, ") + wordOf(saddle.check) + " descents"},
            {"ENERGY", formatted("%.8f", *attempt.energy)},
            {"WAVENUMBER", formatted("%.1f", *attempt.wavenumber)},
            {"CHARGE", std::to_string(charge)},
            {"UNPAIRED", std::to_string(unpaired)}};
}

std::string fieldsOf(const Facts &facts) {
    std::string text;
    for (const auto &[name, value] : facts)
        text += field(name.c_str(), value);
    return text;
}

// Of the same energy, mode and barrier under other names, which other programs write.
bool isOfOtherLevel(const std::string &name) {
    const auto names = std::to_array<std::string_view>(
        {"ENERGY_HARTREE", "IMAGINARY_FREQUENCY_CM1", "BARRIER", "REVERSE_BARRIER"});
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::vector<StructureAtom> moved(std::vector<StructureAtom> atoms,
                                 const std::vector<Position> &positions) {
    for (std::size_t i = 0; i < atoms.size(); ++i)
        atoms[i].position = positions[i];
    return atoms;
}

class Learning {
public:
    Learning(const Reaction &reaction, const Answer &answer)
        : reaction_(reaction), answer_(answer) {}

    LearnedSaddles run() {
        const SaddleTry *lowest = nullptr;
        for (const auto &attempt : answer_.saddle->attempts) {
            if (!joinsBothSides(attempt))
                addOther(attempt);
            else if (!lowest || *attempt.energy < *lowest->energy)
                lowest = &attempt;
        }
        if (lowest) addOwn(*lowest);
        return std::move(learned_);
    }

private:
    void addOwn(const SaddleTry &attempt) {
        const auto title = reaction_.title + " " + answer_.saddle->level;
        add(learned_.reactants, title, reaction_.reactant.atoms, reaction_.reactant.bonds,
            energyOfSide(attempt, "reactant"));
        add(learned_.products, title, reaction_.product.atoms, reaction_.product.bonds,
            energyOfSide(attempt, "product"));
        addSaddle(title, attempt);
    }

    void addOther(const SaddleTry &attempt) {
        if (!changesBonds(attempt)) return;
        const auto title = reaction_.title + " " + answer_.saddle->level + " other ends";
        addPerceived(learned_.reactants, title, attempt.ends[0]);
        addPerceived(learned_.products, title, attempt.ends[1]);
        addSaddle(title, attempt);
    }

    void addSaddle(const std::string &title, const SaddleTry &attempt) {
        add(learned_.saddles, title, placedAtoms(reaction_, attempt.coordinates), {},
            fieldsOf(factsOf(*answer_.saddle, attempt, answer_.charge, answer_.unpaired)));
    }

    void addPerceived(std::string &records, const std::string &title, const SaddleEnd &end) const {
        records += perceivedRecord(reaction_.reactant.origin, title,
                                   placedAtoms(reaction_, end.coordinates), end);
    }

    void add(std::string &records, const std::string &title,
             const std::vector<StructureAtom> &atoms, const std::vector<StructureBond> &bonds,
             const std::string &fields) const {
        records += recordOf(reaction_.reactant.origin, title, atoms, bonds, fields);
    }

    const Reaction &reaction_;
    const Answer &answer_;
    LearnedSaddles learned_;
};

} // namespace

LearnedSaddles learnedSaddles(const Reaction &reaction, const Answer &answer) {
    return answer.saddle ? Learning(reaction, answer).run() : LearnedSaddles{};
}

LearnedSaddles learnedSaddle(const SaddleQuestion &question, const ReactionSaddle &saddle) {
    const auto *found = saddle.found();
    if (found == nullptr || !changesBonds(*found)) return {};
    const auto at = [&](const std::vector<Position> &positions) {
        return moved(question.atoms, positions);
    };
    auto facts = factsOf(saddle, *found, question.task.charge, question.task.unpaired);
    const auto isTold = [&](const std::string &name) {
        return std::any_of(facts.begin(), facts.end(),
                           [&](const auto &fact) { return fact.first == name; });
    };
    for (const auto &[name, value] : question.fields)
        if (!isTold(name) && !isOfOtherLevel(name)) facts.emplace_back(name, value);
    const auto side = [&](const SaddleEnd &end) {
        return perceivedRecord(question.origin, question.title, at(end.coordinates), end);
    };
    return {side(found->ends[0]), side(found->ends[1]),
            recordOf(question.origin, question.title, at(found->coordinates), {}, fieldsOf(facts))};
}

} // namespace saddlefit::host
