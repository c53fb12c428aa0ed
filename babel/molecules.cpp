#include "babel/molecules.hpp"

#include <openbabel/atom.h>
#include <openbabel/bond.h>
#include <openbabel/generic.h>
#include <openbabel/kekulize.h>
#include <openbabel/mol.h>
#include <openbabel/obiter.h>
#include <openbabel/ring.h>
#include <openbabel/stereo/cistrans.h>
#include <openbabel/stereo/stereo.h>
#include <openbabel/stereo/tetrahedral.h>

#include <algorithm>
#include <memory>

namespace saddlefit::babel {

namespace {

using OpenBabel::OBCisTransStereo;
using OpenBabel::OBMol;
using OpenBabel::OBStereo;
using OpenBabel::OBTetrahedralStereo;

constexpr const char *mapNumberName = "Atom Class";

using Ring = std::vector<std::pair<std::int32_t, std::int32_t>>;

std::int32_t mapNumberOf(OpenBabel::OBAtom &atom) {
    auto *data = dynamic_cast<OpenBabel::OBPairInteger *>(atom.GetData(mapNumberName));
    return data == nullptr ? 0 : data->GetGenericValue();
}

void setMapNumber(OpenBabel::OBAtom &atom, std::int32_t number) {
    auto data = std::make_unique<OpenBabel::OBPairInteger>();
    data->SetAttribute(mapNumberName);
    data->SetValue(number);
    atom.SetData(data.release());
}

Atom messageOf(OpenBabel::OBAtom &atom) {
    Atom message;
    message.element = static_cast<std::int32_t>(atom.GetAtomicNum());
    message.charge = atom.GetFormalCharge();
    message.isotope = static_cast<std::int32_t>(atom.GetIsotope());
    message.spin = atom.GetSpinMultiplicity();
    message.mapNumber = mapNumberOf(atom);
    message.hydrogens = static_cast<std::int32_t>(atom.GetImplicitHCount());
    message.position = {atom.GetX(), atom.GetY(), atom.GetZ()};
    return message;
}

Bond messageOf(OpenBabel::OBBond &bond) {
    return {static_cast<std::int32_t>(bond.GetBeginAtomIdx()) - 1,
            static_cast<std::int32_t>(bond.GetEndAtomIdx()) - 1,
            static_cast<std::int32_t>(bond.GetBondOrder()), bond.IsAromatic()};
}

/// Empty unless all bonds of the ring are aromatic.
Ring aromaticRing(OBMol &mol, const std::vector<int> &path) {
    Ring bonds;
    for (std::size_t i = 0; i < path.size(); ++i) {
        const auto [a, b] = std::minmax(path[i], path[(i + 1) % path.size()]);
        const auto *bond = mol.GetBond(a, b);
        if (bond == nullptr || !bond->IsAromatic()) return {};
        bonds.emplace_back(a - 1, b - 1);
    }
    std::sort(bonds.begin(), bonds.end());
    return bonds;
}

std::vector<Ring> aromaticRings(OBMol &mol) {
    std::vector<Ring> rings;
    for (const auto *ring : mol.GetSSSR()) {
        if (auto bonds = aromaticRing(mol, ring->_path); !bonds.empty()) {
            rings.push_back(std::move(bonds));
        }
    }
    return rings;
}

// ---- stereo -----------------------------------------------------------------------------------

std::int32_t indexOf(OBMol &mol, OBStereo::Ref id) {
    const auto *atom = id == OBStereo::ImplicitRef ? nullptr : mol.GetAtomById(id);
    return atom == nullptr ? -1 : static_cast<std::int32_t>(atom->GetIdx()) - 1;
}

OBStereo::Ref idOf(OBMol &mol, std::int32_t index) {
    if (index < 0) return OBStereo::ImplicitRef;
    return mol.GetAtom(index + 1)->GetId();
}

TetrahedralCentre messageOf(OBMol &mol, const OBTetrahedralStereo::Config &config) {
    TetrahedralCentre centre{indexOf(mol, config.center), indexOf(mol, config.from), {}, true};
    for (std::size_t i = 0; i < centre.others.size(); ++i)
        centre.others[i] = indexOf(mol, config.refs[i]);
    return centre;
}

DoubleBond messageOf(OBMol &mol, const OBCisTransStereo::Config &config) {
    DoubleBond bond{indexOf(mol, config.begin), indexOf(mol, config.end), {}};
    for (std::size_t i = 0; i < bond.around.size(); ++i)
        bond.around[i] = indexOf(mol, config.refs[i]);
    return bond;
}

void addStereo(OBMol &mol, Molecule &message) {
    for (auto *data : mol.GetAllData(OpenBabel::OBGenericDataType::StereoData)) {
        if (auto *centre = dynamic_cast<OBTetrahedralStereo *>(data)) {
            const auto config = centre->GetConfig(OBStereo::Clockwise, OBStereo::ViewFrom);
            if (config.specified && config.refs.size() == 3) {
                message.centres.push_back(messageOf(mol, config));
            }
        } else if (auto *bond = dynamic_cast<OBCisTransStereo *>(data)) {
            const auto config = bond->GetConfig(OBStereo::ShapeU);
            if (config.specified && config.refs.size() == 4) {
                message.doubleBonds.push_back(messageOf(mol, config));
            }
        }
    }
}

void setStereo(OBMol &mol, const TetrahedralCentre &centre) {
    OBStereo::Refs others;
    for (const auto index : centre.others)
        others.push_back(idOf(mol, index));
    auto data = std::make_unique<OBTetrahedralStereo>(&mol);
    data->SetConfig({idOf(mol, centre.centre), idOf(mol, centre.from), others,
                     centre.clockwise ? OBStereo::Clockwise : OBStereo::AntiClockwise});
    mol.SetData(data.release());
}

void setStereo(OBMol &mol, const DoubleBond &bond) {
    OBStereo::Refs around;
    for (const auto index : bond.around)
        around.push_back(idOf(mol, index));
    auto data = std::make_unique<OBCisTransStereo>(&mol);
    data->SetConfig({idOf(mol, bond.atom1), idOf(mol, bond.atom2), around, OBStereo::ShapeU});
    mol.SetData(data.release());
}

// ---- what may be asked of Open Babel ----------------------------------------------------------

void requireAtoms(const Molecule &molecule, std::initializer_list<std::int32_t> indices,
                  std::int32_t lowest) {
    for (const auto index : indices) {
        if (index >= lowest && index < static_cast<std::int32_t>(molecule.atoms.size())) continue;
        throw ProtocolError("the molecule has no atom " + std::to_string(index));
    }
}

void check(const Molecule &molecule) {
    for (const auto &bond : molecule.bonds) {
        requireAtoms(molecule, {bond.atom1, bond.atom2}, 0);
        if (bond.atom1 == bond.atom2) throw ProtocolError("a bond leads to its own atom");
    }
    for (const auto &[centre, from, others, clockwise] : molecule.centres) {
        requireAtoms(molecule, {centre}, 0);
        requireAtoms(molecule, {from, others[0], others[1], others[2]}, -1);
    }
    for (const auto &[atom1, atom2, around] : molecule.doubleBonds) {
        requireAtoms(molecule, {atom1, atom2}, 0);
        requireAtoms(molecule, {around[0], around[1], around[2], around[3]}, -1);
    }
}

} // namespace

Molecule messageOf(OBMol &mol, bool wantsBonds, bool wantsStereo) {
    Molecule message;
    message.title = mol.GetTitle();
    for (auto *data : mol.GetAllData(OpenBabel::OBGenericDataType::PairData))
        message.dataFields.emplace_back(data->GetAttribute(), data->GetValue());
    FOR_ATOMS_OF_MOL(atom, mol) message.atoms.push_back(messageOf(*atom));
    message.dimension = mol.GetDimension();
    message.tellsCharge = mol.HasFlag(OB_TCHARGE_MOL);
    if (message.tellsCharge) message.charge = mol.GetTotalCharge();
    if (mol.HasFlag(OB_TSPIN_MOL)) {
        message.spin = static_cast<std::int32_t>(mol.GetTotalSpinMultiplicity());
    }
    if (wantsBonds) {
        FOR_BONDS_OF_MOL(bond, mol) message.bonds.push_back(messageOf(*bond));
        message.aromaticRings = aromaticRings(mol);
    }
    if (wantsStereo) addStereo(mol, message);
    return message;
}

void fill(OBMol &mol, const Molecule &molecule) {
    check(molecule);
    mol.BeginModify();
    for (const auto &atom : molecule.atoms) {
        auto *added = mol.NewAtom();
        added->SetAtomicNum(atom.element);
        added->SetVector(atom.position[0], atom.position[1], atom.position[2]);
        if (atom.charge != 0) added->SetFormalCharge(atom.charge);
        if (atom.isotope != 0) added->SetIsotope(static_cast<unsigned int>(atom.isotope));
        if (atom.spin != 0) added->SetSpinMultiplicity(static_cast<short>(atom.spin));
        if (atom.mapNumber != 0) setMapNumber(*added, atom.mapNumber);
        if (atom.hydrogens > 0) added->SetImplicitHCount(static_cast<unsigned>(atom.hydrogens));
    }
    for (const auto &bond : molecule.bonds) {
        mol.AddBond(bond.atom1 + 1, bond.atom2 + 1, bond.order,
                    bond.aromatic ? OB_AROMATIC_BOND : 0);
    }
    mol.EndModify();
}

void finish(OBMol &mol, const Molecule &molecule) {
    mol.SetTitle(molecule.title.c_str());
    mol.SetDimension(static_cast<unsigned short>(molecule.dimension));
    const bool aromatic = std::any_of(molecule.bonds.begin(), molecule.bonds.end(),
                                      [](const Bond &bond) { return bond.aromatic; });
    if (aromatic) {
        for (const auto &bond : molecule.bonds) {
            if (!bond.aromatic) continue;
            mol.GetAtom(bond.atom1 + 1)->SetAromatic();
            mol.GetAtom(bond.atom2 + 1)->SetAromatic();
            auto *drawn = mol.GetBond(bond.atom1 + 1, bond.atom2 + 1);
            drawn->SetBondOrder(1);
            drawn->SetAromatic();
        }
        mol.SetAromaticPerceived();
        OpenBabel::OBKekulize(&mol);
        mol.SetAromaticPerceived(false);
    }
    for (const auto &centre : molecule.centres)
        setStereo(mol, centre);
    for (const auto &bond : molecule.doubleBonds)
        setStereo(mol, bond);
    const bool known = !molecule.centres.empty() || !molecule.doubleBonds.empty();
    if (known || molecule.dimension == 0) mol.SetChiralityPerceived();
}

Positions positionsOf(OBMol &mol) {
    Positions positions;
    FOR_ATOMS_OF_MOL(atom, mol) {
        positions.push_back({atom->GetX(), atom->GetY(), atom->GetZ()});
    }
    return positions;
}

} // namespace saddlefit::babel
