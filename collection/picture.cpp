#include "collection/picture.hpp"

#include "host/structures/babel.hpp"
#include "host/system/text.hpp"

#include <array>

namespace saddlefit::collection {

namespace {

constexpr int hydrogen = 1, carbon = 6;

/// Of each hydrogen that is not drawn the atom that it belongs to; -1 for all other atoms.
std::vector<int> holdersOf(const VerifiedSaddle &saddle) {
    const auto &elements = saddle.species.elements;
    std::vector<int> holders(elements.size(), -1);
    for (const auto &[pair, order] : saddle.reactant.orders) {
        for (const auto &[atom, holder] : {pair, AtomPair{pair.second, pair.first}})
            if (elements[static_cast<std::size_t>(atom)] == hydrogen &&
                elements[static_cast<std::size_t>(holder)] == carbon)
                holders[static_cast<std::size_t>(atom)] = holder;
    }
    const auto changed =
        bondsChanged(graphOf(saddle.reactant.orders), graphOf(saddle.product.orders));
    for (const auto *pairs : {&changed.made, &changed.broken})
        for (const auto &[a, b] : *pairs)
            holders[static_cast<std::size_t>(a)] = holders[static_cast<std::size_t>(b)] = -1;
    return holders;
}

babel::Molecule drawnMolecule(const Species &species, const LewisStructure &drawing,
                              const std::vector<int> &holders) {
    babel::Molecule molecule;
    std::vector<int> places(holders.size(), -1);
    for (std::size_t i = 0; i < holders.size(); ++i) {
        if (holders[i] >= 0) continue;
        places[i] = static_cast<int>(molecule.atoms.size());
        auto &atom = molecule.atoms.emplace_back();
        atom.element = species.elements[i];
        atom.charge = drawing.charges[i];
    }
    for (const int holder : holders)
        if (holder >= 0)
            ++molecule.atoms[static_cast<std::size_t>(places[static_cast<std::size_t>(holder)])]
                  .hydrogens;
    for (const auto &[pair, order] : drawing.orders) {
        const int a = places[static_cast<std::size_t>(pair.first)];
        const int b = places[static_cast<std::size_t>(pair.second)];
        if (a >= 0 && b >= 0) molecule.bonds.push_back({a, b, order, false});
    }
    return molecule;
}

/// What stands within a document, at a place of its own in another one.
std::string placed(const std::string &document, int x) {
    const auto begin = document.find("<svg width=");
    const auto end = document.find("</svg>", begin);
    if (end == document.npos) throw Error("Open Babel drew no molecule");
    auto part = document.substr(begin, end - begin);
    const auto box = part.find("viewBox=");
    part = formatted("<svg x=\"%d\" width=\"150\" height=\"110\" ", x) + part.substr(box);
    for (const auto *usual :
         {" opacity=\"1.0\"", " stroke=\"rgb(0,0,0)\"  stroke-width=\"2.0\"", ".000000"})
        for (auto at = part.find(usual, part.find('>')); at != part.npos; at = part.find(usual, at))
            part.erase(at, std::string_view(usual).size());
    return part + "</svg>\n";
}

} // namespace

std::string pictureOf(const VerifiedSaddle &saddle) {
    const auto holders = holdersOf(saddle);
    const auto side = [&](const LewisStructure &drawing, int x) {
        return placed(
            sharedBabel().write({"svg", {drawnMolecule(saddle.species, drawing, holders)}}), x);
    };
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"330\" height=\"110\" "
           "font-family=\"sans-serif\">\n"
           "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
           "<path d=\"M154 55h20m-5-4l5 4l-5 4\" fill=\"none\" stroke=\"black\"/>\n" +
           side(saddle.reactant, 0) + side(saddle.product, 180) + "</svg>\n";
}

} // namespace saddlefit::collection
