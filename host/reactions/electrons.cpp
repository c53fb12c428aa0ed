#include "host/reactions/electrons.hpp"

#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <cstdlib>
#include <numeric>

namespace saddlefit::host {

namespace {

int formalCharge(const Structure &side) {
    return std::accumulate(side.atoms.begin(), side.atoms.end(), 0,
                           [](int sum, const auto &atom) { return sum + atom.charge; });
}

int countOf(const Structure &side, int charge) {
    return std::accumulate(side.atoms.begin(), side.atoms.end(), -charge,
                           [](int sum, const auto &atom) { return sum + atom.element; });
}

bool allows(int electrons, int unpaired) {
    return unpaired >= 0 && unpaired <= electrons && (electrons - unpaired) % 2 == 0;
}

bool isDrawn(const Structure &side) {
    return side.namesBonds && !side.charge;
}

void settleCharge(const Structure &reactant, const Structure &product, const GivenElectrons &given,
                  Electrons &result) {
    const auto before = toldCharge(reactant), after = toldCharge(product);
    result.charge = given.charge.value_or(before.value_or(after.value_or(0)));
    if (given.charge || !before || !after || *before == *after) return;
    const bool drawn = isDrawn(reactant) && isDrawn(product);
    const auto text =
        drawn ? formatted("the formal charges add up to %d in the reactant and to %d in the "
                          "product; the reactant's is taken",
                          *before, *after)
              : formatted("the records tell a charge of %d for the reactant and of %d for the "
                          "product; the reactant's is taken",
                          *before, *after);
    result.doubts.push_back({text, Remedy::charge});
}

/// Of the whole record, or of its marks; nothing for bare coordinates without a word.
struct ToldSpins {
    std::optional<int> before, after;
    bool isMarked = false;
};

std::optional<int> markedElectrons(const Structure &side) {
    if (!side.namesBonds) return std::nullopt;
    return std::accumulate(side.radicals.begin(), side.radicals.end(), 0);
}

/// Marks count only where no record tells a number of its own, and where there are any: most
/// programs that draw a radical do not mark it.
ToldSpins toldSpins(const Structure &reactant, const Structure &product) {
    if (reactant.unpaired || product.unpaired) return {reactant.unpaired, product.unpaired, false};
    const ToldSpins marked{markedElectrons(reactant), markedElectrons(product), true};
    const bool any = marked.before.value_or(0) + marked.after.value_or(0) > 0;
    return any ? marked : ToldSpins{};
}

/// What both agree on, else the lower number: radicals that meet pair their electrons. That is
/// said where records tell a number of their own; marks of radicals at single atoms differ in half
/// of all reactions with a carbene or two radicals on one side.
std::optional<int> spinOf(const ToldSpins &told, std::vector<Warning> &doubts) {
    const auto &[before, after, isMarked] = told;
    if (!before || !after || *before == *after) return before ? before : after;
    const int lower = std::min(*before, *after);
    if (isMarked) return lower;
    doubts.push_back({formatted("the records tell of %d unpaired electrons in the reactant and of "
                                "%d in the product; the lower number is taken",
                                *before, *after),
                      Remedy::spin});
    return lower;
}

void settleSpin(const Structure &reactant, const Structure &product, Electrons &result) {
    const int electrons = countOf(reactant, result.charge);
    result.unpaired = std::abs(electrons % 2);
    const auto told = spinOf(toldSpins(reactant, product), result.doubts);
    if (!told || *told == result.unpaired) return;
    if (allows(electrons, *told)) {
        result.unpaired = *told;
        return;
    }
    result.doubts.push_back({formatted("a charge of %d leaves %d electrons, of which not %d can be "
                                       "unpaired as the records tell; %d is taken",
                                       result.charge, electrons, *told, result.unpaired),
                             Remedy::electrons});
}

} // namespace

std::optional<int> toldCharge(const Structure &side) {
    if (side.charge || !side.namesBonds) return side.charge;
    return formalCharge(side);
}

Electrons electronsOf(const Structure &reactant, const Structure &product,
                      const GivenElectrons &given) {
    Electrons result;
    settleCharge(reactant, product, given, result);
    const int electrons = countOf(reactant, result.charge);
    if (given.unpaired)
        result.unpaired = *given.unpaired;
    else
        settleSpin(reactant, product, result);
    if (!allows(electrons, result.unpaired)) {
        throw Error(formatted("a charge of %d leaves %d electrons, of which %d cannot be unpaired",
                              result.charge, electrons, result.unpaired))
            .with(Remedy::electrons);
    }
    const bool isTold = given.charge || given.unpaired || toldCharge(reactant) ||
                        toldCharge(product) || reactant.unpaired || product.unpaired;
    if (!isTold && electrons % 2 != 0) {
        result.doubts.push_back({formatted("the number of electrons, %d, is odd, and nothing tells "
                                           "the charge: it is taken as 0, and one electron as "
                                           "unpaired",
                                           electrons),
                                 Remedy::chargeOrSpin});
    }
    return result;
}

} // namespace saddlefit::host
