#include "host/reactions/chosen_centres.hpp"

#include "saddlefit/host.h"

#include "host/structures/elements.hpp"
#include "host/structures/host_molecule.hpp"
#include "host/system/error.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

/// Per atom 1 for R, 2 for S, as the library sees it.
std::vector<int> codesOf(const Structure &side) {
    const auto mol = hostMolecule(side.atoms, side.bonds);
    std::vector<int> codes(side.atoms.size());
    if (C_getRS(mol.get(), codes.data()) != 1) {
        throw Error(ErrorKind::system, "not enough memory").at(side.origin);
    }
    return codes;
}

bool isMarked(const MarkedStructure &side, int atom) {
    const auto &centres = side.marks.centres;
    return std::any_of(centres.begin(), centres.end(),
                       [atom](const auto &mark) { return mark.centre == atom; });
}

/// Atoms that have a code and no mark, and those of them that are told.
class Open {
public:
    explicit Open(const MarkedStructure &side) : side_(side), codes_(codesOf(side.structure)) {}

    bool has(std::size_t atom) const {
        return codes_[atom] != 0 && !isMarked(side_, static_cast<int>(atom));
    }

    std::string label(std::size_t atom) const {
        return atomLabel(side_.structure.atoms[atom].element, static_cast<int>(atom)) +
               (codes_[atom] == 1 ? " (R)" : " (S)");
    }

private:
    const MarkedStructure &side_;
    std::vector<int> codes_;
};

void tell(std::vector<std::string> &sentences, const std::string &labels, const char *where) {
    if (labels.empty()) return;
    sentences.push_back("the handedness of " + labels + " in the " + where +
                        " is chosen, for the SMILES does not tell it");
}

} // namespace

std::vector<std::string> chosenCentres(const MarkedStructure &reactant,
                                       const MarkedStructure &product) {
    const Open before(reactant), after(product);
    std::string inReactant, inProduct;
    for (std::size_t atom = 0; atom < reactant.structure.atoms.size(); ++atom) {
        const bool isOpen = before.has(atom);
        auto &list = isOpen ? inReactant : inProduct;
        if (!isOpen && !after.has(atom)) continue;
        list += (list.empty() ? "" : ", ") + (isOpen ? before : after).label(atom);
    }
    std::vector<std::string> sentences;
    tell(sentences, inReactant, "reactant");
    tell(sentences, inProduct, "product");
    return sentences;
}

} // namespace saddlefit::host
