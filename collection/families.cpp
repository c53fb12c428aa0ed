#include "collection/families.hpp"

#include "host/structures/babel.hpp"
#include "host/structures/elements.hpp"

#include <algorithm>
#include <regex>
#include <sstream>

namespace saddlefit::collection {

namespace {

struct Parent {
    std::string smiles;
    BondOrders steps;
};

using Slots = std::map<std::string, std::vector<std::string>>;

BondOrders stepsFrom(const std::string &text) {
    static const std::regex step(R"((\d+)-(\d+)(\++|-+))");
    std::istringstream words(text);
    BondOrders steps;
    for (std::string word; words >> word;) {
        std::smatch match;
        if (!std::regex_match(word, match, step)) throw Error("\"" + word + "\" is no bond step");
        const int size = static_cast<int>(match[3].length());
        steps[orderedPair(std::stoi(match[1]), std::stoi(match[2]))] =
            match[3].str()[0] == '+' ? size : -size;
    }
    return steps;
}

std::vector<std::string> wordsIn(const std::string &text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

std::string replaced(std::string text, const std::string &slot, const std::string &value) {
    const auto mark = "{" + slot + "}";
    for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark))
        text.replace(at, mark.size(), value);
    return text;
}

std::vector<std::string> filled(const std::string &smiles, const Slots &slots) {
    std::vector<std::string> all{smiles};
    for (const auto &[slot, values] : slots) {
        if (smiles.find("{" + slot + "}") == std::string::npos) continue;
        std::vector<std::string> next;
        for (const auto &value : values)
            for (const auto &text : all)
                next.push_back(replaced(text, slot, value));
        all = std::move(next);
    }
    return all;
}

void shuffle(std::vector<FamilyMember> &members, std::size_t first, std::uint64_t seed) {
    Random random(seed);
    for (std::size_t i = members.size(); i > first + 1; --i) {
        const auto other = first + static_cast<std::size_t>(random.next() % (i - first));
        std::swap(members[i - 1], members[other]);
    }
}

class FamilyReader {
public:
    explicit FamilyReader(std::uint64_t seed) : seed_(seed) {}

    void take(const std::string &line) {
        const auto words = wordsIn(line);
        if (words.empty() || words[0][0] == '#') return;
        if (words[0] == "family") {
            close();
            if (words.size() != 3) throw Error("a family has a name and a quota");
            families_.push_back({words[1], std::stoul(words[2]), {}});
        } else if (words[0] == "react") {
            const auto bar = line.find('|');
            if (bar == std::string::npos || words.size() < 3)
                throw Error("a reaction is a SMILES, a bar and bond steps");
            parents_.push_back({words[1], stepsFrom(line.substr(bar + 1))});
        } else if (words[0].size() == 1) {
            slots_[words[0]].assign(words.begin() + 1, words.end());
        } else {
            throw Error("\"" + words[0] + "\" begins no line of families");
        }
    }

    std::vector<Family> done() {
        close();
        return std::move(families_);
    }

private:
    void close() {
        if (families_.empty()) return;
        auto &family = families_.back();
        std::vector<FamilyMember> others;
        for (const auto &[smiles, steps] : parents_) {
            auto members = filled(smiles, slots_);
            family.members.push_back({members.front(), steps});
            for (std::size_t i = 1; i < members.size(); ++i)
                others.push_back({members[i], steps});
        }
        shuffle(others, 0, seedFor(seed_, family.name));
        family.members.insert(family.members.end(), others.begin(), others.end());
        parents_.clear();
        slots_.clear();
    }

    std::uint64_t seed_;
    std::vector<Family> families_;
    std::vector<Parent> parents_;
    Slots slots_;
};

/// How many bonds an atom has that nothing is said of.
int usualValence(int element, int charge, int bonds) {
    for (const auto &state : valenceStates(element))
        if (state.charge == charge && state.valence >= bonds) return state.valence;
    return bonds;
}

} // namespace

std::string FamilyMember::name() const {
    std::string text = smiles;
    for (const auto &[pair, step] : steps) {
        text += " " + std::to_string(pair.first) + "-" + std::to_string(pair.second);
        text += std::string(static_cast<std::size_t>(std::abs(step)), step > 0 ? '+' : '-');
    }
    return text;
}

std::string withHydrogens(const std::string &smiles) {
    const auto parsed = sharedBabel().parseSmiles({smiles, false, false});
    std::vector<int> bonds(parsed.atoms.size(), 0);
    for (const auto &bond : parsed.bonds) {
        bonds[static_cast<std::size_t>(bond.atom1)] += bond.order;
        bonds[static_cast<std::size_t>(bond.atom2)] += bond.order;
    }
    static const std::regex atom(R"(\[(Cl|Br|Si|Se|[BCNOFPS])([+-]?):(\d+)\])");
    std::string text;
    auto rest = smiles.cbegin();
    for (std::smatch match; std::regex_search(rest, smiles.cend(), match, atom);
         rest = match.suffix().first) {
        const int number = std::stoi(match[3]);
        const auto found = std::find_if(parsed.atoms.begin(), parsed.atoms.end(),
                                        [&](const auto &one) { return one.mapNumber == number; });
        const auto index = static_cast<std::size_t>(found - parsed.atoms.begin());
        const int missing =
            usualValence(found->element, found->charge, bonds[index]) - bonds[index];
        text += match.prefix().str() + "[" + match[1].str();
        if (missing > 0) text += "H" + std::to_string(missing);
        text += match[2].str() + ":" + match[3].str() + "]";
    }
    return text + std::string(rest, smiles.cend());
}

std::vector<Family> readFamilies(const std::string &text, std::uint64_t seed) {
    FamilyReader reader(seed);
    std::istringstream lines(text);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        try {
            reader.take(line);
        } catch (const std::exception &error) {
            throw Error("line " + std::to_string(number) + ": " + error.what());
        }
    }
    return reader.done();
}

Proposal proposalOf(const Molecule3D &molecule, const FamilyMember &member) {
    std::map<int, int> atomOf;
    for (std::size_t i = 0; i < molecule.mapNumbers.size(); ++i)
        atomOf[molecule.mapNumbers[i]] = static_cast<int>(i);
    BondOrders steps;
    for (const auto &[pair, step] : member.steps) {
        if (!atomOf.contains(pair.first) || !atomOf.contains(pair.second))
            throw Error(member.smiles + " lacks an atom that its steps name");
        steps[orderedPair(atomOf[pair.first], atomOf[pair.second])] = step;
    }
    auto proposal = proposed(molecule.species, molecule.drawing, steps);
    if (!proposal) throw Error(member.smiles + " does not react as its steps say");
    return *proposal;
}

} // namespace saddlefit::collection
