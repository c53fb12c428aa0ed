#include "database/record_layout.hpp"

#include "molecule/ranges.hpp"

#include <algorithm>
#include <cstring>

namespace saddlefit {

namespace {

bool readAtoms(const Fields &fields, const RecordLayout &layout, Molecule &mol) {
    mol.atoms = allocateArray<Atom>(layout.atoms);
    if (!mol.atoms) return false;
    mol.atomCount = static_cast<int>(layout.atoms);
    std::size_t at = layout.atomsAt();
    for (Atom &atom : atomsOf(mol)) {
        atom.x = fields.real(at);
        atom.y = fields.real(at + floatSize);
        atom.z = fields.real(at + 2 * floatSize);
        atom.element = fields.integer(at + 3 * floatSize);
        at += RecordLayout::atomBytes;
    }
    return true;
}

/// Counts each bond once it exists, so that a half-read molecule can be released.
bool readBonds(const Fields &fields, const RecordLayout &layout, Molecule &mol) {
    mol.bonds = allocateArray<Bond *>(layout.bonds);
    if (!mol.bonds) return false;
    std::size_t at = layout.bondsAt();
    while (mol.bondCount < static_cast<int>(layout.bonds)) {
        Bond *bond = allocateArray<Bond>(1);
        if (!bond) return false;
        mol.bonds[mol.bondCount++] = bond;
        bond->atom1 = fields.integer(at);
        bond->atom2 = fields.integer(at + integerSize);
        bond->type = fields.integer(at + 2 * integerSize);
        at += RecordLayout::bondBytes;
    }
    return true;
}

/// The stored mark for none is above every atom's position, so one test turns both into -1.
bool readTransitions(const Fields &fields, const RecordLayout &layout, Molecule &mol) {
    mol.transitions = allocateArray<Transition>(layout.transitions);
    if (!mol.transitions) return false;
    mol.transitionCount = static_cast<int>(layout.transitions);
    std::size_t at = layout.transitionsAt();
    for (Transition &transition : transitionsOf(mol)) {
        transition.breakA = atomOrNone(mol, fields.integer(at));
        transition.breakB = atomOrNone(mol, fields.integer(at + integerSize));
        transition.formA = atomOrNone(mol, fields.integer(at + 2 * integerSize));
        transition.formB = atomOrNone(mol, fields.integer(at + 3 * integerSize));
        at += RecordLayout::transitionBytes;
    }
    return true;
}

bool canBeStored(std::int32_t code) {
    return code == -1 || (code > 0 && code < storedMinusOne);
}

} // namespace

OwnedBlock<char> nameFrom(Bytes record, const RecordLayout &layout) {
    OwnedBlock<char> name(allocateArray<char>(layout.nameLength + 1));
    if (!name || record.size() <= RecordLayout::nameAt) return name;
    const Bytes stored = record.subspan(RecordLayout::nameAt);
    std::memcpy(name.get(), stored.data(), std::min(stored.size(), layout.nameLength));
    return name;
}

OwnedMol moleculeFrom(Bytes record, const RecordLayout &layout) {
    OwnedMol mol(createMol());
    const Fields fields(record);
    const bool complete = mol && readAtoms(fields, layout, *mol) &&
                          readBonds(fields, layout, *mol) && readTransitions(fields, layout, *mol);
    if (!complete) mol.reset();
    return mol;
}

StoredCode::StoredCode(std::span<const std::int32_t> codes) {
    if (codes.empty() || codes.size() > largestField || codes.back() != 0 ||
        !std::ranges::all_of(codes.first(codes.size() - 1), canBeStored))
        return;
    bytes_.reserve((codes.size() + 1) * integerSize);
    const auto append = [this](std::uint32_t value) {
        bytes_.push_back(static_cast<unsigned char>(value));
        bytes_.push_back(static_cast<unsigned char>(value >> 8));
    };
    append(static_cast<std::uint32_t>(codes.size()));
    for (const std::int32_t code : codes)
        append(static_cast<std::uint32_t>(code));
}

bool StoredCode::beginsThere(Bytes stored) const {
    return canMatch() && stored.size() >= bytes_.size() &&
           std::memcmp(stored.data(), bytes_.data(), bytes_.size()) == 0;
}

std::span<const std::int32_t> codesToZero(const std::int32_t *codes) {
    std::size_t count = 1;
    while (codes[count - 1] != 0)
        ++count;
    return {codes, count};
}

} // namespace saddlefit
