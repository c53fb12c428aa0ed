// Bonds from coordinates, beside Open Babel's.
#include "bench.hpp"

#include SADDLEFIT_BENCH_PERCEPTION_HEADER

#include <openbabel/atom.h>
#include <openbabel/mol.h>

#include <cmath>

namespace bench {
namespace {

using saddlefit::cli::StructureAtom;

/// Ethanol on a lattice, its copies too far apart to touch.
std::vector<StructureAtom> ethanols(std::size_t atoms) {
    struct Site {
        int element;
        double x, y, z; // angstrom
    };
    static constexpr std::array<Site, 9> ethanol{{{6, -0.887, 0.175, 0.000},
                                                  {6, 0.461, -0.516, 0.000},
                                                  {8, 1.443, 0.488, 0.000},
                                                  {1, -0.990, 0.808, 0.885},
                                                  {1, -0.990, 0.808, -0.885},
                                                  {1, -1.694, -0.560, 0.000},
                                                  {1, 0.561, -1.149, 0.885},
                                                  {1, 0.561, -1.149, -0.885},
                                                  {1, 2.321, 0.087, 0.000}}};
    constexpr double spacing = 7; // angstrom
    const auto copies = atoms / ethanol.size() + 1;
    const auto edge = static_cast<std::size_t>(std::ceil(std::cbrt(static_cast<double>(copies))));
    std::vector<StructureAtom> all;
    for (std::size_t i = 0; all.size() < atoms; ++i)
        for (const auto &[element, x, y, z] : ethanol) {
            all.push_back({element,
                           0,
                           {x + spacing * static_cast<double>(i % edge),
                            y + spacing * static_cast<double>(i / edge % edge),
                            z + spacing * static_cast<double>(i / edge / edge)}});
        }
    return all;
}

std::shared_ptr<OpenBabel::OBMol> openBabelMolecule(const std::vector<StructureAtom> &atoms) {
    auto mol = std::make_shared<OpenBabel::OBMol>();
    mol->BeginModify();
    mol->ReserveAtoms(static_cast<int>(atoms.size()));
    for (const auto &atom : atoms) {
        auto *added = mol->NewAtom();
        added->SetAtomicNum(atom.element);
        added->SetVector(atom.position.x, atom.position.y, atom.position.z);
    }
    mol->EndModify();
    return mol;
}

} // namespace

void addPerception() {
    for (const std::size_t size : {1000U, 10000U, 100000U}) {
        const std::vector<StructureAtom> atoms = ethanols(size);
        const auto peer = openBabelMolecule(atoms);
        compare(
            "perception/lattice of ethanol, per atom/" + std::to_string(size), atoms.size(),
            [atoms] { benchmark::DoNotOptimize(saddlefit::cli::perceivedBonds(atoms)); },
            "Open Babel",
            [peer] {
                OpenBabel::OBMol mol(*peer);
                mol.ConnectTheDots();
                mol.PerceiveBondOrders();
                benchmark::DoNotOptimize(mol.NumBonds());
            });
    }
}

} // namespace bench
