// Molecules between RDKit and plain graphs.
#pragma once

#include "bench.hpp"

#include <GraphMol/FileParsers/MolSupplier.h>
#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>
#include <GraphMol/SmilesParse/SmilesParse.h>

namespace bench {

inline int orderOf(const RDKit::Bond &bond) {
    switch (bond.getBondType()) {
    case RDKit::Bond::DOUBLE:
        return 2;
    case RDKit::Bond::TRIPLE:
        return 3;
    default:
        return 1;
    }
}

/// Elements, Kekule bonds and, where there are any, coordinates.
inline Graph graphOf(const RDKit::ROMol &source) {
    RDKit::RWMol mol(source);
    RDKit::MolOps::Kekulize(mol, true);
    Graph graph;
    for (const auto *atom : mol.atoms())
        graph.elements.push_back(atom->getAtomicNum());
    for (const auto *bond : mol.bonds())
        graph.bonds.push_back({static_cast<int>(bond->getBeginAtomIdx()),
                               static_cast<int>(bond->getEndAtomIdx()), orderOf(*bond)});
    if (mol.getNumConformers() > 0)
        for (const auto &at : mol.getConformer().getPositions())
            graph.places.push_back({at.x, at.y, at.z});
    return graph;
}

/// The same labels and nothing else, as RDKit's molecule.
inline std::shared_ptr<RDKit::RWMol> rdkitMolecule(const Graph &graph) {
    auto mol = std::make_shared<RDKit::RWMol>();
    for (const int element : graph.elements)
        mol->addAtom(new RDKit::Atom(static_cast<unsigned>(element)), false, true);
    for (const auto &[a, b, type] : graph.bonds)
        mol->addBond(static_cast<unsigned>(a), static_cast<unsigned>(b),
                     static_cast<RDKit::Bond::BondType>(type));
    return mol;
}

/// SMILES of the sample with a nominal number of heavy atoms.
inline std::vector<std::string> sampleSmiles(int heavyAtoms) {
    std::ifstream file(SADDLEFIT_BENCH_MOLECULES);
    std::vector<std::string> sample;
    std::string smiles, name;
    for (int size; file >> smiles >> name >> size;)
        if (size == heavyAtoms) sample.push_back(smiles);
    if (sample.empty()) throw std::runtime_error("no molecules of this size");
    return sample;
}

/// Those without hydrogens, larger ones cut to so many atoms.
inline std::vector<Graph> sampleGraphs(int heavyAtoms, int cutTo) {
    std::vector<Graph> graphs;
    for (const std::string &smiles : sampleSmiles(heavyAtoms)) {
        const std::unique_ptr<RDKit::ROMol> mol(RDKit::SmilesToMol(smiles));
        graphs.push_back(firstAtoms(graphOf(*mol), static_cast<std::size_t>(cutTo)));
    }
    return graphs;
}

} // namespace bench
