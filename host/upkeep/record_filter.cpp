#include "host/upkeep/record_filter.hpp"

#include "host/reactions/transitions.hpp"
#include "host/structures/babel.hpp"
#include "host/structures/babel_molecule.hpp"
#include "host/upkeep/stored_question.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <sstream>

namespace saddlefit::host {

namespace {

bool hasPart(const std::string &text, const std::string &part) {
    if (part.empty()) return true; // also of no text
    const auto equal = [](unsigned char a, unsigned char b) {
        return std::tolower(a) == std::tolower(b);
    };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), equal) != text.end();
}

// Each pair with its smaller symbol first.
std::multiset<std::string> pairsIn(const std::string &code) {
    std::multiset<std::string> pairs;
    std::istringstream words(code);
    for (std::string word; words >> word;) {
        const auto dash = word.find('-');
        auto first = word.substr(0, dash);
        auto second = dash == word.npos ? std::string{} : word.substr(dash + 1);
        if (second < first) std::swap(first, second);
        pairs.insert(first + "-" + second);
    }
    return pairs;
}

bool hasElements(const StoredRecord &record, std::set<int> wanted) {
    for (const auto &atom : record.atoms)
        wanted.erase(atom.element);
    return wanted.empty();
}

bool hasPattern(const CatalogueEntry &entry, const std::string &smarts) {
    const auto sides = sidesOf(entry);
    return std::any_of(sides.begin(), sides.end(), [&](const Structure &side) {
        constexpr int one = 1;
        return !sharedBabel().match({babelMolecule(side.atoms, side.bonds), smarts, one}).empty();
    });
}

bool isKnownToAdmit(const RecordFilter &filter, const CatalogueEntry &entry) {
    const auto &known = entry.known;
    const bool wantsBarrier =
        std::isfinite(filter.lowestBarrier) || std::isfinite(filter.highestBarrier);
    const bool wantsFacts = wantsBarrier || !filter.level.empty() || !filter.family.empty();
    if (!known) return !wantsFacts && filter.quality.value_or(Quality::guarded) == Quality::guarded;
    if (filter.quality && *filter.quality != known->quality) return false;
    if (!hasPart(known->level, filter.level) || !hasPart(known->family, filter.family))
        return false;
    if (!wantsBarrier) return true;
    return known->barrier && *known->barrier >= filter.lowestBarrier &&
           *known->barrier <= filter.highestBarrier;
}

Structure sideOf(const CatalogueEntry &entry, const StoredSide &known) {
    Structure side;
    side.title = entry.record.name;
    for (std::size_t i = 0; i < entry.record.atoms.size(); ++i) {
        const int charge = known.charges.empty() ? 0 : known.charges[i];
        side.atoms.push_back({entry.record.atoms[i].element, charge, known.positions[i]});
    }
    side.bonds = known.bonds;
    return side;
}

bool isComplete(const CatalogueEntry &entry, const StoredSide &side) {
    return side.positions.size() == entry.record.atoms.size() && !side.bonds.empty();
}

Structure productOf(const Reaction &reaction) {
    auto product = reaction.reactant;
    for (const auto &change : reaction.changes) {
        std::erase_if(product.bonds, [&](const StructureBond &bond) {
            return orderedPair(bond.atom1, bond.atom2) == change.atoms;
        });
        if (change.after > 0)
            product.bonds.push_back({change.atoms.first, change.atoms.second, change.after});
    }
    return product;
}

} // namespace

bool RecordFilter::admits(const CatalogueEntry &entry) const {
    const auto &record = entry.record;
    if (!hasPart(record.name, name) || !hasElements(record, elements)) return false;
    if (!isKnownToAdmit(*this, entry)) return false;
    if (!code.empty() && pairsIn(code) != pairsIn(codeInSymbols(record.code.data()))) return false;
    return smarts.empty() || hasPattern(entry, smarts);
}

std::vector<Structure> sidesOf(const CatalogueEntry &entry) {
    const auto &known = entry.known;
    if (known && isComplete(entry, known->reactant) && isComplete(entry, known->product))
        return {sideOf(entry, known->reactant), sideOf(entry, known->product)};
    const auto reaction = reactionOf(entry.record, entry.record.name);
    if (!reaction) return {};
    return {reaction->reactant, productOf(*reaction)};
}

} // namespace saddlefit::host
