#include "host/answers/learned_saddles.hpp"

#include "host/structures/molfile.hpp"
#include "host/structures/perception.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

bool joinsBothSides(const SaddleTry &attempt) {
    return attempt.outcome == "verified" && attempt.start != "follow";
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
        add(learned_.reactants, title, reaction_.reactant.atoms, reaction_.reactant.bonds);
        add(learned_.products, title, reaction_.product.atoms, reaction_.product.bonds);
        add(learned_.saddles, title, placedAtoms(reaction_, attempt.coordinates), {});
    }

    void addOther(const SaddleTry &attempt) {
        if (!changesBonds(attempt)) return;
        const auto title = reaction_.title + " " + answer_.saddle->level + " other ends";
        addPerceived(learned_.reactants, title, attempt.ends[0]);
        addPerceived(learned_.products, title, attempt.ends[1]);
        add(learned_.saddles, title, placedAtoms(reaction_, attempt.coordinates), {});
    }

    void addPerceived(std::string &records, const std::string &title, const SaddleEnd &end) const {
        const auto atoms = placedAtoms(reaction_, end.coordinates);
        add(records, title, atoms, perceivedCovalentBonds(atoms));
    }

    void add(std::string &records, const std::string &title,
             const std::vector<StructureAtom> &atoms,
             const std::vector<StructureBond> &bonds) const {
        records += molfile(reaction_.reactant.origin, title, atoms, bonds) + sdRecordEnd + "\n";
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
