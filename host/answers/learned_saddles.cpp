#include "host/answers/learned_saddles.hpp"

#include "host/structures/molfile.hpp"
#include "host/structures/perception.hpp"
#include "host/system/text.hpp"

#include <algorithm>

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
            factsOf(attempt));
    }

    void addPerceived(std::string &records, const std::string &title, const SaddleEnd &end) const {
        const auto atoms = placedAtoms(reaction_, end.coordinates);
        add(records, title, atoms, perceivedCovalentBonds(atoms), energyField(end.energy));
    }

    void add(std::string &records, const std::string &title,
             const std::vector<StructureAtom> &atoms, const std::vector<StructureBond> &bonds,
             const std::string &fields) const {
        records +=
            molfile(reaction_.reactant.origin, title, atoms, bonds) + fields + sdRecordEnd + "\n";
    }

    // As data fields, which a database keeps beside the record.
    std::string factsOf(const SaddleTry &attempt) const {
        const std::string verified = std::string("one imaginary mode; both ends, ") +
                                     wordOf(answer_.saddle->check) + " descents";
        return field("LEVEL", answer_.saddle->level) + field("VERIFIED", verified) +
               energyField(*attempt.energy) +
               field("WAVENUMBER", formatted("%.1f", *attempt.wavenumber)) +
               field("CHARGE", std::to_string(answer_.charge)) +
               field("UNPAIRED", std::to_string(answer_.unpaired));
    }

    const Reaction &reaction_;
    const Answer &answer_;
    LearnedSaddles learned_;
};

} // namespace

LearnedSaddles learnedSaddles(const Reaction &reaction, const Answer &answer) {
    return answer.saddle ? Learning(reaction, answer).run() : LearnedSaddles{};
}

} // namespace saddlefit::host
