// Molecules of the sample in three dimensions.
#pragma once

#include "rdkit_graphs.hpp"

#include <GraphMol/DistGeomHelpers/Embedder.h>

namespace bench {

/// A molecule with hydrogens and coordinates; null if it cannot be embedded.
inline std::shared_ptr<RDKit::RWMol> embedded(const std::string &smiles) {
    const std::unique_ptr<RDKit::ROMol> heavy(RDKit::SmilesToMol(smiles));
    const std::shared_ptr<RDKit::RWMol> mol(
        new RDKit::RWMol(*std::unique_ptr<RDKit::ROMol>(RDKit::MolOps::addHs(*heavy))));
    RDKit::DGeomHelpers::EmbedParameters parameters(RDKit::DGeomHelpers::ETKDGv3);
    parameters.randomSeed = 5;
    parameters.useRandomCoords = true;
    return RDKit::DGeomHelpers::EmbedMolecule(*mol, parameters) < 0 ? nullptr : mol;
}

} // namespace bench
