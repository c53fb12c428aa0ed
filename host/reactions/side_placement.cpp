#include "host/reactions/side_placement.hpp"

#include "host/reactions/approach.hpp"
#include "host/reactions/arrangement.hpp"
#include "host/reactions/chosen_centres.hpp"
#include "host/reactions/joint_geometry.hpp"

namespace saddlefit::host {

namespace {

std::vector<std::string> build(Sides &sides) {
    const auto geometry = jointGeometry(sides.reactant, sides.product);
    setPositions(sides.reactant.structure.atoms, geometry.reactant);
    setPositions(sides.product.structure.atoms, geometry.product);
    auto sentences = chosenCentres(sides.reactant, sides.product);
    if (geometry.unkept > 0) {
        sentences.push_back(
            std::to_string(geometry.unkept) +
            " of the centres and double bonds could not be had as the SMILES writes "
            "them on both sides at once; see that its handedness fits the reaction");
    }
    return sentences;
}

/// Molecules as near as may be to where their atoms are on the other side; side by side as they
/// react where that side is to be placed too, or does not lead to an arrangement.
void arrange(Structure &side, const Structure &otherSide, bool likeTheOther) {
    const auto fragments = fragmentsOf(side);
    if (fragments.size() < 2) return;
    const auto wanted = approachOf(side, otherSide, fragments);
    if (likeTheOther) {
        setPositions(side.atoms,
                     superposedFragments(side, fragments, positionsOf(otherSide.atoms)));
        setPositions(side.atoms, arranged(side, fragments, wanted, false));
        if (!fragmentsClash(side, fragments)) return;
    }
    setPositions(side.atoms, arranged(side, fragments, wanted, true));
}

/// Molecules that were given together stand as they were given, unless they stand in each other.
Placing placingOf(Placing placing, const Structure &side) {
    if (placing != Placing::asGiven || !hasCoordinates(side.atoms)) return placing;
    const auto fragments = fragmentsOf(side);
    const bool overlap = fragments.size() > 1 && fragmentsClash(side, fragments);
    return overlap ? Placing::together : Placing::asGiven;
}

std::vector<std::string> arrangeBoth(Sides &sides) {
    auto &reactant = sides.reactant.structure, &product = sides.product.structure;
    const bool productIsOne = fragmentsOf(product).size() == 1;
    const bool productStands = sides.productPlacing == Placing::asGiven || productIsOne;
    if (sides.reactantPlacing == Placing::together) arrange(reactant, product, productStands);
    if (sides.productPlacing == Placing::together) arrange(product, reactant, true);
    return {};
}

} // namespace

std::vector<std::string> placeSides(Sides &sides) {
    sides.reactantPlacing = placingOf(sides.reactantPlacing, sides.reactant.structure);
    sides.productPlacing = placingOf(sides.productPlacing, sides.product.structure);
    const auto either = [&](Placing placing) {
        return sides.reactantPlacing == placing || sides.productPlacing == placing;
    };
    if (either(Placing::built)) return build(sides);
    if (either(Placing::together)) return arrangeBoth(sides);
    return {};
}

} // namespace saddlefit::host
