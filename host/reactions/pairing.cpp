#include "host/reactions/pairing.hpp"

#include "host/reactions/doubts.hpp"
#include "host/structures/elements.hpp"
#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <map>
#include <numeric>
#include <set>

namespace saddlefit::host {

namespace {

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

bool listSameElements(const Structure &one, const Structure &other) {
    return std::equal(one.atoms.begin(), one.atoms.end(), other.atoms.begin(), other.atoms.end(),
                      [](const auto &a, const auto &b) { return a.element == b.element; });
}

Structure reordered(const Structure &product, const std::vector<int> &productAtoms) {
    auto sorted = product;
    std::vector<int> place(productAtoms.size());
    for (std::size_t i = 0; i < productAtoms.size(); ++i) {
        const auto from = index(productAtoms[i]);
        place[from] = static_cast<int>(i);
        sorted.atoms[i] = product.atoms[from];
        if (!product.mapNumbers.empty()) sorted.mapNumbers[i] = product.mapNumbers[from];
        if (!product.radicals.empty()) sorted.radicals[i] = product.radicals[from];
    }
    for (auto &bond : sorted.bonds)
        bond = {place[index(bond.atom1)], place[index(bond.atom2)], bond.type};
    for (auto &ring : sorted.aromaticRings) {
        for (auto &[a, b] : ring)
            std::tie(a, b) = orderedPair(place[index(a)], place[index(b)]);
        std::sort(ring.begin(), ring.end());
    }
    return sorted;
}

Pairing byOrder(const Structure &reactant, const Structure &product) {
    requireSameAtoms(product, reactant);
    requireMapsInOrder(product, reactant);
    return {product, {}, {}, false};
}

/// Each atom has a number of its own.
bool isNumbered(const Structure &side) {
    const std::set<int> different(side.mapNumbers.begin(), side.mapNumbers.end());
    return !different.empty() && different.size() == side.atoms.size() && !different.contains(0);
}

Pairing byNumbers(const Structure &reactant, const Structure &product) {
    for (const auto *side : {&reactant, &product}) {
        if (isNumbered(*side)) continue;
        throw Error("not every atom has a map number of its own, so the atoms cannot be paired "
                    "by them; number all, or let the atoms be paired otherwise")
            .at(side->origin);
    }
    std::map<int, int> atomOf;
    for (std::size_t i = 0; i < product.mapNumbers.size(); ++i)
        atomOf[product.mapNumbers[i]] = static_cast<int>(i);
    std::vector<int> productAtoms;
    for (const int number : reactant.mapNumbers) {
        const auto found = atomOf.find(number);
        if (found == atomOf.end()) {
            throw Error("no atom has the map number " + std::to_string(number) +
                        " of the reactant; number the atoms of both sides alike")
                .at(product.origin);
        }
        productAtoms.push_back(found->second);
    }
    if (atomOf.size() != productAtoms.size()) requireSameAtoms(product, reactant);
    auto sorted = reordered(product, productAtoms);
    requireSameAtoms(sorted, reactant);
    return {std::move(sorted), std::move(productAtoms), {}, false};
}

std::string countOf(int count, const char *what) {
    return std::to_string(count) + " bond" + (count == 1 ? " " : "s ") + what;
}

std::vector<Pairing> pairingsOf(const Structure &product, const AtomMapSearch &search) {
    std::vector<Pairing> result;
    std::string note = "the atoms are paired by the fewest changes (" +
                       countOf(search.broken, "broken") + ", " + countOf(search.formed, "formed") +
                       "), not by their order";
    if (search.maps.size() > 1) {
        note += "; " + std::to_string(search.maps.size()) +
                " different reactions have as few, so compare the rivals, or give map numbers";
    }
    constexpr double clearMargin = 0.15; // angstrom; see docs/quality.md
    const auto nearest =
        std::min_element(search.maps.begin(), search.maps.end(),
                         [](const AtomMap &a, const AtomMap &b) { return a.misfit < b.misfit; });
    for (const auto &map : search.maps) {
        const bool movesFar = map.misfit > nearest->misfit + clearMargin;
        result.push_back(
            {reordered(product, map.productAtoms), map.productAtoms, {note}, movesFar});
    }
    return result;
}

using Counts = std::map<int, int>; // of atoms, by element

Counts countsIn(const Structure &side) {
    Counts counts;
    for (const auto &atom : side.atoms)
        ++counts[atom.element];
    return counts;
}

/// What one side has and the other has not, as a formula: "C2H4".
std::string surplusFormula(const Counts &one, const Counts &other) {
    std::map<std::string, int> surplus; // carbon and hydrogen stand before the others
    for (const auto &[element, count] : one) {
        const auto found = other.find(element);
        const int more = count - (found == other.end() ? 0 : found->second);
        constexpr int carbon = 6, hydrogen = 1;
        const char *rank = element == carbon ? "0" : element == hydrogen ? "1" : "2";
        if (more > 0) surplus[rank + elementSymbol(element)] = more;
    }
    std::string formula;
    for (const auto &[ranked, count] : surplus)
        formula += ranked.substr(1) + (count > 1 ? std::to_string(count) : "");
    return formula;
}

/// Throws Error unless both have the same numbers of each element.
void requireBalance(const Structure &reactant, const Structure &product) {
    const auto before = countsIn(reactant), after = countsIn(product);
    if (before == after) return;
    const auto lostAtoms = surplusFormula(before, after), newAtoms = surplusFormula(after, before);
    std::string text = "the sides do not balance: ";
    if (!lostAtoms.empty()) text += "the products lack " + lostAtoms;
    if (!newAtoms.empty())
        text += (lostAtoms.empty() ? "" : ", ") + ("the reactants lack " + newAtoms);
    throw Error(text + "; write every molecule on both sides").at(product.origin);
}

[[noreturn]] void refuse(const Structure &reactant, const Structure &product,
                         const AtomMapSearch &search, const AtomMapLimits &limits) {
    const std::string remedy =
        "; list the atoms of both sides in the same order, or give them map numbers";
    switch (search.outcome) {
    case MapOutcome::unchanged:
        throw Error("both sides are the same molecules, so only a map tells which atoms react; "
                    "give them map numbers")
            .at(product.origin)
            .with(Remedy::orderOfAtoms);
    case MapOutcome::tooManyBonds:
        throw Error(
            "however the atoms are paired, more than " +
            countOf(limits.bonds, limits.bonds == 1 ? "breaks or forms" : "break and form") +
            ", which is no elementary reaction" + remedy + ", or allow more bonds")
            .at(product.origin);
    case MapOutcome::outOfTime:
        throw Error(ErrorKind::limit,
                    formatted("the atoms could not be paired in %g seconds", limits.seconds) +
                        remedy + ", or allow more time")
            .at(product.origin);
    default:
        requireBalance(reactant, product);
        throw Error("the map numbers of both sides stand at different elements").at(product.origin);
    }
}

// The order, with a word about it where something is to be said against it.
std::vector<Pairing> orderWith(Pairing order, const std::string &note) {
    order.notes.push_back(note);
    return {std::move(order)};
}

/// The maps with the fewest changes, whatever the order.
std::vector<Pairing> fewestChanges(const Structure &reactant, const Structure &product,
                                   const PairOptions &options) {
    const auto search = mapAtoms(reactant, product, options.limits);
    if (search.outcome != MapOutcome::found) refuse(reactant, product, search, options.limits);
    auto result = pairingsOf(product, search);
    const bool isExpected = options.order == OrderOfAtoms::meansNothing && result.size() == 1;
    if (isExpected) result.front().notes.clear();
    return result;
}

/// The order, unless another map has fewer changes.
std::vector<Pairing> orderOrFewer(const Structure &reactant, const Structure &product,
                                  const PairOptions &options) {
    Pairing order{product, {}, {}, false};
    std::vector<int> identity(reactant.atoms.size());
    std::iota(identity.begin(), identity.end(), 0);
    auto limits = options.limits;
    limits.bonds = std::min(limits.bonds, bondsBrokenAndFormed(reactant, product, identity) - 1);
    const auto search = mapAtoms(reactant, product, limits);
    if (search.outcome == MapOutcome::outOfTime) {
        return orderWith(order, "the atoms are paired by their order; whether another map breaks "
                                "and forms fewer bonds could not be told in time");
    }
    if (search.maps.empty()) return {order};
    if (search.broken + search.formed > 0) return pairingsOf(product, search);
    if (options.order != OrderOfAtoms::confirmed) refuse(reactant, product, search, limits);
    return orderWith(order, "both sides are the same molecules; the order of the atoms is "
                            "taken for the reaction");
}

std::vector<Pairing> automatic(const Structure &reactant, const Structure &product,
                               const PairOptions &options) {
    const bool numbered = isNumbered(reactant) && isNumbered(product);
    const bool meansNothing = options.order == OrderOfAtoms::meansNothing;
    if (numbered) return {meansNothing ? byNumbers(reactant, product) : byOrder(reactant, product)};
    if (meansNothing || !listSameElements(reactant, product) ||
        misplacedNumber(product, reactant)) {
        return fewestChanges(reactant, product, options);
    }
    return orderOrFewer(reactant, product, options);
}

} // namespace

std::vector<Pairing> pairings(const Structure &reactant, const Structure &product,
                              const PairOptions &options) {
    switch (options.by) {
    case PairBy::order:
        return {byOrder(reactant, product)};
    case PairBy::numbers:
        return {byNumbers(reactant, product)};
    case PairBy::automatic:
        break;
    }
    return automatic(reactant, product, options);
}

void requireSameAtoms(const Structure &structure, const Structure &other) {
    const std::string demand =
        " (" + other.origin.text() + "); both must list the same atoms in the same order";
    if (structure.atoms.size() != other.atoms.size()) {
        throw Error("has " + std::to_string(structure.atoms.size()) + " atoms, the reaction " +
                    std::to_string(other.atoms.size()) + demand)
            .at(structure.origin);
    }
    for (std::size_t i = 0; i < structure.atoms.size(); ++i) {
        const int element = structure.atoms[i].element;
        const int wanted = other.atoms[i].element;
        if (element == wanted) continue;
        throw Error("atom " + std::to_string(i + 1) + " is " + elementSymbol(element) +
                    ", in the reaction " + elementSymbol(wanted) + demand)
            .at(structure.origin)
            .about({static_cast<int>(i)});
    }
}

} // namespace saddlefit::host
