#include "babel/chemistry.hpp"

#include "babel/log.hpp"
#include "babel/molecules.hpp"

#include <openbabel/atom.h>
#include <openbabel/bitvec.h>
#include <openbabel/bond.h>
#include <openbabel/builder.h>
#include <openbabel/forcefield.h>
#include <openbabel/mol.h>
#include <openbabel/obconversion.h>
#include <openbabel/oberror.h>
#include <openbabel/obiter.h>
#include <openbabel/parsmart.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

namespace saddlefit::babel {

namespace {

using OpenBabel::OBMol;

// ---- charges of perceived structures ----------------------------------------------------------

/// The charge of an atom of the first two rows or a halogen, or of P or S, by the bonds that it
/// has; 0 where they say nothing.
int chargeByValence(OpenBabel::OBAtom &atom) {
    const auto bonds = static_cast<int>(atom.GetExplicitValence());
    const auto away = [&](int usual) { return bonds - usual; };
    switch (atom.GetAtomicNum()) {
    case 5:
        return bonds == 4 ? -1 : 0;
    case 7:
        return bonds > 1 ? std::clamp(away(3), -1, 1) : 0;
    case 15:
        return bonds == 4 ? 1 : 0;
    case 8:
        return std::clamp(away(2), -1, 1);
    case 16:
        return bonds == 1 ? -1 : bonds == 3 ? 1 : 0;
    case 9:
    case 17:
    case 35:
    case 53:
        return bonds == 0 ? -1 : 0;
    default:
        return 0;
    }
}

/// What may still carry a charge: open carbon, or hydrogen or a metal without bonds.
bool mayBeCharged(OpenBabel::OBAtom &atom) {
    const auto bonds = atom.GetExplicitValence();
    if (atom.GetAtomicNum() == 6) return bonds == 3;
    return bonds == 0;
}

void assignCharges(OBMol &mol, int total) {
    int left = total;
    FOR_ATOMS_OF_MOL(atom, mol) {
        const int charge = chargeByValence(*atom);
        atom->SetFormalCharge(charge);
        left -= charge;
    }
    FOR_ATOMS_OF_MOL(atom, mol) {
        if (left == 0) return;
        if (atom->GetFormalCharge() != 0 || !mayBeCharged(*atom)) continue;
        atom->SetFormalCharge(left > 0 ? 1 : -1);
        left -= left > 0 ? 1 : -1;
    }
    if (left == 0) return;
    FOR_ATOMS_OF_MOL(atom, mol) atom->SetFormalCharge(0);
}

// ---- triple bonds ------------------------------------------------------------------------------

/// Half-way between the covalent radii for double and for triple bonds, angstrom (P. Pyykko,
/// M. Atsumi, Chem. Eur. J. 15, 12770 (2009); P. Pyykko, S. Riedel, M. Patzschke, ibid. 11, 3511
/// (2005)). 0 for elements that are left alone.
double radiusOfTripleBonds(unsigned element) {
    switch (element) {
    case 6:
        return 0.635;
    case 7:
        return 0.57;
    case 8:
        return 0.55;
    default:
        return 0.0;
    }
}

/// Whether one order more leaves an atom within its octet: oxygen and nitrogen with a charge.
bool takesAnotherOrder(OpenBabel::OBAtom &atom) {
    const auto orders = static_cast<int>(atom.GetExplicitValence());
    switch (atom.GetAtomicNum()) {
    case 6:
    case 7:
        return orders < 4;
    case 8:
        return orders < 3;
    default:
        return false;
    }
}

/// Open Babel finds them by angles, so carbon monoxide and hydrogen isocyanide lack them.
void drawTripleBonds(OBMol &mol) {
    FOR_BONDS_OF_MOL(bond, mol) {
        auto &a = *bond->GetBeginAtom(), &b = *bond->GetEndAtom();
        const double longest =
            radiusOfTripleBonds(a.GetAtomicNum()) + radiusOfTripleBonds(b.GetAtomicNum());
        if (bond->GetLength() > longest) continue;
        while (bond->GetBondOrder() < 3 && takesAnotherOrder(a) && takesAnotherOrder(b))
            bond->SetBondOrder(static_cast<int>(bond->GetBondOrder()) + 1);
    }
}

// ---- embedding --------------------------------------------------------------------------------

constexpr double fragmentGap = 3.0; // angstrom, between the boxes of two fragments
constexpr int embeddingSteps = 250;
constexpr double embeddingLimit = 1e-4;

/// Null where it is missing. One of its own for each use: the shared ones take over a setup, its
/// constraints included, from one molecule to the next where these have the same bonds.
std::unique_ptr<OpenBabel::OBForceField> newForceField(const std::string &name) {
    auto *shared = OpenBabel::OBForceField::FindForceField(name);
    return std::unique_ptr<OpenBabel::OBForceField>(shared == nullptr ? nullptr
                                                                      : shared->MakeNewInstance());
}

void clean(OBMol &fragment) {
    for (const char *name : {"MMFF94", "UFF"}) {
        const auto field = newForceField(name);
        if (field == nullptr) continue;
        field->SetLogLevel(OBFF_LOGLVL_NONE);
        OpenBabel::OBFFConstraints none; // or those of the last molecule would hold
        if (!field->Setup(fragment, none)) continue;
        field->ConjugateGradients(embeddingSteps, embeddingLimit);
        field->GetCoordinates(fragment);
        return;
    }
}

void embedFragment(OBMol &fragment) {
    fragment.SetDimension(3);
    if (fragment.NumAtoms() == 1) return;
    OpenBabel::OBBuilder builder;
    if (!builder.Build(fragment, false)) {
        throw Failure{FailureKind::noStructure, "no coordinates were found for a fragment", {}};
    }
    clean(fragment);
    for (const auto &position : positionsOf(fragment)) {
        if (std::isfinite(position[0] + position[1] + position[2])) continue;
        throw Failure{FailureKind::noStructure, "a fragment fell apart", {}};
    }
}

OBMol copiedFragment(OBMol &mol, const std::vector<int> &atoms) {
    OpenBabel::OBBitVec chosen;
    for (const int atom : atoms)
        chosen.SetBitOn(static_cast<unsigned>(atom));
    OBMol fragment;
    mol.CopySubstructure(fragment, &chosen);
    return fragment;
}

/// Fragments stand in a row along x. The other side hears of each, for each has its time.
void embedFragments(Link &link, OBMol &mol) {
    std::vector<std::vector<int>> fragments;
    mol.ContigFragList(fragments);
    double edge = 0.0;
    for (auto &atoms : fragments) {
        std::sort(atoms.begin(), atoms.end());
        OBMol fragment = copiedFragment(mol, atoms);
        embedFragment(fragment);
        const auto positions = positionsOf(fragment);
        const auto [low, high] =
            std::minmax_element(positions.begin(), positions.end(),
                                [](const auto &a, const auto &b) { return a[0] < b[0]; });
        for (std::size_t i = 0; i < positions.size(); ++i) {
            const auto &[x, y, z] = positions[i];
            mol.GetAtom(atoms[i])->SetVector(x - (*low)[0] + edge, y, z);
        }
        edge += (*high)[0] - (*low)[0] + fragmentGap;
        link.send(FrameKind::part, Nothing{});
    }
    mol.SetDimension(3);
}

// ---- force fields -----------------------------------------------------------------------------

OpenBabel::OBFFConstraints constraintsOf(const Relax &request) {
    OpenBabel::OBFFConstraints constraints;
    constraints.SetFactor(request.holdFactor);
    for (const int atom : request.fixed)
        constraints.AddAtomConstraint(atom + 1);
    for (const auto &[atoms, value] : request.held) {
        const auto [a, b, c, d] = atoms;
        if (c < 0)
            constraints.AddDistanceConstraint(a + 1, b + 1, value);
        else if (d < 0)
            constraints.AddAngleConstraint(a + 1, b + 1, c + 1, value);
        else
            constraints.AddTorsionConstraint(a + 1, b + 1, c + 1, d + 1, value);
    }
    return constraints;
}

void requireAtoms(const Relax &request) {
    const auto count = static_cast<std::int32_t>(request.molecule.atoms.size());
    const auto exists = [&](std::int32_t atom) { return atom >= 0 && atom < count; };
    const auto holds = [&](const Held &held) {
        return std::all_of(held.atoms.begin(), held.atoms.end(),
                           [&](std::int32_t atom) { return atom == -1 || exists(atom); }) &&
               exists(held.atoms[0]) && exists(held.atoms[1]);
    };
    if (std::all_of(request.fixed.begin(), request.fixed.end(), exists) &&
        std::all_of(request.held.begin(), request.held.end(), holds))
        return;
    throw ProtocolError("an atom is held that the molecule has not");
}

} // namespace

void perceiveBonds(Link &link, const PerceiveBonds &request) {
    auto bare = request.molecule;
    bare.bonds.clear();
    bare.centres.clear();
    bare.doubleBonds.clear();
    for (auto &atom : bare.atoms)
        atom.charge = 0;
    const Log log;
    OBMol mol;
    fill(mol, bare);
    mol.SetTotalCharge(request.charge);
    mol.ConnectTheDots();
    mol.PerceiveBondOrders();
    drawTripleBonds(mol);
    assignCharges(mol, request.charge);
    mol.SetDimension(3);
    auto answer = messageOf(mol, true, false);
    answer.title = bare.title;
    answer.dataFields = bare.dataFields;
    link.send(FrameKind::done, answer);
}

void parseSmiles(Link &link, const ParseSmiles &request) {
    const Log log;
    OpenBabel::OBConversion conversion;
    conversion.SetInFormat("smi");
    OBMol mol;
    if (!conversion.ReadString(&mol, request.smiles)) {
        throw Failure{FailureKind::brokenInput, log.complaint(), {}};
    }
    if (request.addsHydrogens) mol.AddHydrogens();
    if (request.embeds) embedFragments(link, mol);
    link.send(FrameKind::done, messageOf(mol, true, true));
}

void writeSmiles(Link &link, const WriteSmiles &request) {
    const Log log;
    OBMol mol;
    fill(mol, request.molecule);
    finish(mol, request.molecule);
    OpenBabel::OBConversion conversion;
    conversion.SetOutFormat("can");
    conversion.AddOption("n"); // without the title
    if (request.keepsMapNumbers) conversion.AddOption("a");
    auto smiles = conversion.WriteString(&mol, true);
    smiles.erase(std::find_if(smiles.begin(), smiles.end(),
                              [](char c) { return c == '\t' || c == '\n' || c == ' '; }),
                 smiles.end());
    link.send(FrameKind::done, smiles);
}

void relax(Link &link, const Relax &request) {
    requireAtoms(request);
    const auto field = newForceField(request.forceField);
    if (field == nullptr) throw Failure{FailureKind::noForceField, {}, {}};
    OpenBabel::obErrorLog.StopLogging();
    field->SetLogLevel(OBFF_LOGLVL_NONE);
    OBMol mol;
    fill(mol, request.molecule);
    auto constraints = constraintsOf(request);
    const bool isSetUp = field->Setup(mol, constraints);
    if (isSetUp) {
        field->ConjugateGradients(request.mostSteps, request.energyLimit);
        field->GetCoordinates(mol);
    }
    OpenBabel::obErrorLog.StartLogging();
    if (!isSetUp) throw Failure{FailureKind::noParameters, {}, {}};
    link.send(FrameKind::done, positionsOf(mol));
}

void match(Link &link, const MatchPattern &request) {
    const Log log;
    OpenBabel::OBSmartsPattern pattern;
    if (!pattern.Init(request.smarts)) {
        throw Failure{FailureKind::brokenInput, log.complaint(), {}};
    }
    OBMol mol;
    fill(mol, request.molecule);
    finish(mol, request.molecule);
    pattern.Match(mol);
    std::vector<Match> matches;
    for (const auto &found : pattern.GetUMapList()) {
        if (static_cast<std::int32_t>(matches.size()) == request.mostMatches) break;
        auto &one = matches.emplace_back();
        for (const int atom : found)
            one.push_back(atom - 1);
    }
    link.send(FrameKind::done, matches);
}

void embed(Link &link, const Embed &request) {
    const Log log;
    OBMol mol;
    fill(mol, request.molecule);
    finish(mol, request.molecule);
    embedFragments(link, mol);
    link.send(FrameKind::done, positionsOf(mol));
}

} // namespace saddlefit::babel
