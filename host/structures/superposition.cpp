#include "host/structures/superposition.hpp"

#include "saddlefit/search.h"
#include "saddlefit/superpose.h"

#include "host/structures/host_molecule.hpp"

#include <array>
#include <memory>
#include <new>

namespace saddlefit::host {

namespace {

// Column-major, as the library gives it.
using Motion = std::array<double, 16>;

struct Alignment {
    Molecule &reference, &molecule;
    const std::vector<int> &partners;
    double *ofReference, *ofMolecule; // motions; null to move the molecules

    static int align(void *context) {
        auto &[reference, molecule, partners, ofReference, ofMolecule] =
            *static_cast<Alignment *>(context);
        alignMapMols(&reference, &molecule, partners.data(), ofReference, ofMolecule);
        return 1;
    }
};

void doAlone(Alignment alignment) {
    const std::unique_ptr<Searcher, decltype(&freeSearcher)> searcher(createSearcher(),
                                                                      &freeSearcher);
    if (withSearcher(searcher.get(), &Alignment::align, &alignment) != 1) throw std::bad_alloc();
}

Position moved(const Motion &by, const Position &at) {
    const auto row = [&](std::size_t r) {
        return by[r] * at.x + by[4 + r] * at.y + by[8 + r] * at.z + by[12 + r];
    };
    return {row(0), row(1), row(2)};
}

Position movedBack(const Motion &by, const Position &at) {
    const Position shifted{at.x - by[12], at.y - by[13], at.z - by[14]};
    const auto column = [&](std::size_t c) {
        return by[4 * c] * shifted.x + by[4 * c + 1] * shifted.y + by[4 * c + 2] * shifted.z;
    };
    return {column(0), column(1), column(2)};
}

} // namespace

void superpose(Molecule &reference, Molecule &molecule, const std::vector<int> &partners) {
    doAlone({reference, molecule, partners, nullptr, nullptr});
}

std::vector<Position> laidOn(const std::vector<StructureAtom> &reference,
                             const std::vector<StructureAtom> &atoms,
                             const std::vector<int> &partners) {
    const auto fixed = hostMolecule(reference), moving = hostMolecule(atoms);
    Motion ofReference{}, ofMolecule{};
    doAlone({*fixed, *moving, partners, ofReference.data(), ofMolecule.data()});
    std::vector<Position> positions;
    for (const auto &atom : atoms)
        positions.push_back(movedBack(ofReference, moved(ofMolecule, atom.position)));
    return positions;
}

} // namespace saddlefit::host
