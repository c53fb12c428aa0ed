#include "host/structures/smiles.hpp"

#include "host/structures/elements.hpp"
#include "host/structures/open_babel_log.hpp"
#include "host/system/error.hpp"

#include <openbabel/atom.h>
#include <openbabel/bond.h>
#include <openbabel/generic.h>
#include <openbabel/mol.h>
#include <openbabel/obconversion.h>
#include <openbabel/obiter.h>

#include <set>
#include <vector>

namespace saddlefit::host {

namespace {

// 0 for an atom without one.
int mapNumber(OpenBabel::OBAtom &atom) {
    auto *data = dynamic_cast<OpenBabel::OBPairInteger *>(atom.GetData("Atom Class"));
    return data == nullptr ? 0 : data->GetGenericValue();
}

// The atoms by map number; empty unless the numbers are 1, 2, 3, ..., each once.
std::vector<OpenBabel::OBAtom *> byMapNumber(OpenBabel::OBMol &mol) {
    std::vector<OpenBabel::OBAtom *> atoms(mol.NumAtoms(), nullptr);
    FOR_ATOMS_OF_MOL(atom, mol) {
        const auto number = static_cast<std::size_t>(mapNumber(*atom));
        if (number < 1 || number > atoms.size() || atoms[number - 1] != nullptr) return {};
        atoms[number - 1] = &*atom;
    }
    return atoms;
}

} // namespace

std::map<AtomPair, int> mappedSmilesBonds(const std::string &smiles, const std::string &origin) {
    const OpenBabelLog log;
    OpenBabel::OBConversion conversion;
    conversion.SetInFormat("smi");
    OpenBabel::OBMol mol;
    if (!conversion.ReadString(&mol, smiles) || byMapNumber(mol).empty()) {
        throw Error(origin + ": the mapped SMILES cannot be read, or its map numbers are not "
                             "1, 2, 3, ... for all atoms and hydrogens; correct it");
    }
    std::map<AtomPair, int> bonds;
    FOR_BONDS_OF_MOL(bond, mol) {
        const int a = mapNumber(*bond->GetBeginAtom()), b = mapNumber(*bond->GetEndAtom());
        bonds[orderedPair(a - 1, b - 1)] = static_cast<int>(bond->GetBondOrder());
    }
    return bonds;
}

std::vector<int> mapNumbersOf(OpenBabel::OBMol &mol) {
    std::vector<int> numbers;
    FOR_ATOMS_OF_MOL(atom, mol) numbers.push_back(mapNumber(*atom));
    const std::set<int> different(numbers.begin(), numbers.end());
    const bool complete = different.size() == numbers.size() && !different.contains(0);
    return complete ? numbers : std::vector<int>{};
}

bool sortByMapNumbers(OpenBabel::OBMol &mol) {
    auto atoms = byMapNumber(mol);
    if (!atoms.empty()) mol.RenumberAtoms(atoms);
    return !atoms.empty();
}

void requireWrittenHydrogens(OpenBabel::OBMol &mol) {
    constexpr int mostNamed = 6;
    std::string names;
    int count = 0;
    FOR_ATOMS_OF_MOL(atom, mol) {
        if (atom->GetImplicitHCount() == 0 || ++count > mostNamed) continue;
        names += (names.empty() ? "" : ", ") + atomLabel(static_cast<int>(atom->GetAtomicNum()),
                                                         static_cast<int>(atom->GetIdx()) - 1);
    }
    if (count == 0) return;
    if (count > mostNamed) names += ", ...";
    throw Error("hydrogens are not written at " + names +
                "; write all hydrogens, as [H] with map numbers of their own");
}

} // namespace saddlefit::host
