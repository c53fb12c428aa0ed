// Ranking and R/S codes from coordinates, beside RDKit's assignment of CIP labels.
#include "rdkit_graphs.hpp"

#include <GraphMol/DistGeomHelpers/Embedder.h>

namespace bench {
namespace {

/// A molecule with hydrogens and coordinates.
std::shared_ptr<RDKit::RWMol> embedded(const std::string &smiles) {
    const std::unique_ptr<RDKit::ROMol> heavy(RDKit::SmilesToMol(smiles));
    const std::shared_ptr<RDKit::RWMol> mol(
        new RDKit::RWMol(*std::unique_ptr<RDKit::ROMol>(RDKit::MolOps::addHs(*heavy))));
    RDKit::DGeomHelpers::EmbedParameters parameters(RDKit::DGeomHelpers::ETKDGv3);
    parameters.randomSeed = 5;
    parameters.useRandomCoords = true;
    return RDKit::DGeomHelpers::EmbedMolecule(*mol, parameters) < 0 ? nullptr : mol;
}

} // namespace

void addStereo() {
    constexpr std::size_t molecules = 3;
    for (const int size : {10, 30, 60, 100}) {
        std::vector<std::shared_ptr<RDKit::RWMol>> theirs;
        std::vector<std::shared_ptr<Molecule>> ours;
        std::size_t atoms = 0;
        for (const std::string &smiles : sampleSmiles(size)) {
            if (theirs.size() == molecules) break;
            const auto mol = embedded(smiles);
            if (!mol) continue;
            theirs.push_back(mol);
            ours.push_back(molecule(graphOf(*mol)));
            atoms += mol->getNumAtoms();
        }
        compare(
            "stereo/all stereo codes, per atom/" + std::to_string(size), atoms,
            [ours] {
                for (const auto &mol : ours)
                    createRS(mol.get());
            },
            "RDKit",
            [theirs] {
                for (const auto &mol : theirs)
                    RDKit::MolOps::assignStereochemistryFrom3D(*mol, -1, true);
            });
    }
}

} // namespace bench
