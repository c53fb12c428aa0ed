// Ranking and R/S codes from coordinates, beside RDKit's assignment of CIP labels.
#include "embedded.hpp"

namespace bench {

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
