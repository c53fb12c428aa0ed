// Bonds from coordinates, beside Open Babel's.
#include "host/structures/perception.hpp"

#include "embedded.hpp"

#include <openbabel/atom.h>
#include <openbabel/mol.h>

#include <cmath>

namespace bench {
namespace {

using saddlefit::host::StructureAtom;

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

std::vector<StructureAtom> atomsOf(const Graph &graph) {
    std::vector<StructureAtom> atoms;
    for (std::size_t i = 0; i < graph.size(); ++i) {
        const auto [x, y, z] = graph.places[i];
        atoms.push_back({graph.elements[i], 0, {x, y, z}});
    }
    return atoms;
}

std::size_t bondsByOpenBabel(const OpenBabel::OBMol &atoms) {
    OpenBabel::OBMol mol(atoms);
    mol.ConnectTheDots();
    mol.PerceiveBondOrders();
    return mol.NumBonds();
}

/// Molecules without their bonds. Also how often both find the same number of bonds.
void compareMolecules(const std::string &name, const std::vector<std::vector<StructureAtom>> &all) {
    std::vector<std::shared_ptr<OpenBabel::OBMol>> peers;
    std::size_t items = 0, same = 0;
    for (const auto &atoms : all) {
        peers.push_back(openBabelMolecule(atoms));
        items += atoms.size();
        const auto bonds = saddlefit::host::perceivedCovalentBonds(atoms);
        same += bonds.size() == bondsByOpenBabel(*peers.back());
    }
    measure(
        name + "/saddlefit", items,
        [all] {
            for (const auto &atoms : all)
                benchmark::DoNotOptimize(saddlefit::host::perceivedBonds(atoms));
        },
        {{"same_number_of_bonds", static_cast<double>(same) / static_cast<double>(all.size())}});
    measure(name + "/Open Babel", items, [peers] {
        for (const auto &peer : peers)
            benchmark::DoNotOptimize(bondsByOpenBabel(*peer));
    });
}

} // namespace

void addPerception() {
    for (const int size : {10, 30, 60, 100}) {
        std::vector<std::vector<StructureAtom>> molecules;
        for (const std::string &smiles : sampleSmiles(size))
            if (const auto mol = molecules.size() < 4 ? embedded(smiles) : nullptr)
                molecules.push_back(atomsOf(graphOf(*mol)));
        compareMolecules("perception/molecules, per atom/" + std::to_string(size), molecules);
    }
    for (const std::size_t size : {1000U, 10000U, 100000U}) {
        compareMolecules("perception/lattice of ethanol, per atom/" + std::to_string(size),
                         {ethanols(size)});
    }
}

} // namespace bench
