#include "database/record_packer.hpp"

#include "saddlefit/database.h"

#include "database/format.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>

using namespace saddlefit;

const int32_t num_size = 5 * integerSize;
const int32_t name_size = 1;
const int32_t code_size = integerSize;
const int32_t atom_size = 3 * floatSize + integerSize;
const int32_t bond_size = 3 * integerSize;
const int32_t transition_size = 4 * integerSize;

static_assert(num_size == 10 && name_size == 1 && code_size == 2);
static_assert(atom_size == 14 && bond_size == 6 && transition_size == 8);

namespace {

constexpr int largestCount = largestField;
/// One less than a field holds, for that value means -1 or none.
constexpr int largestCode = storedMinusOne - 1;
constexpr int largestAtomIndex = storedMinusOne - 1;

static_assert(num_size +
                      (int64_t{name_size} + code_size + atom_size + bond_size + transition_size) *
                          largestCount <=
                  std::numeric_limits<int32_t>::max(),
              "a record of the greatest counts has a length that a block header can state");

/// A record as the caller hands it over, its lists measured.
struct Record {
    const char *name;
    std::size_t nameLength; ///< with its NUL
    const int32_t *codes;
    std::size_t codeCount; ///< with its 0; 0 if the list cannot be stored
    const Molecule &molecule;
};

bool fitsField(int value) {
    return value >= 0 && value <= largestField;
}
bool fitsBondAtom(int index) {
    return index >= 0 && index <= largestAtomIndex;
}
bool fitsTransitionAtom(int index) {
    return index <= largestAtomIndex;
}
bool fitsCode(int32_t code) {
    return code == -1 || (code >= 1 && code <= largestCode);
}
bool fitsCoordinate(double value) {
    return std::isfinite(static_cast<float>(value));
}

/// Entries up to and including the 0; 0 if one of them, or their number, cannot be stored.
std::size_t measureCodes(const int32_t *codes) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(largestCount); ++i) {
        if (codes[i] == 0) return i + 1;
        if (!fitsCode(codes[i])) return 0;
    }
    return 0;
}

bool fitsAtom(const Atom &atom) {
    return fitsField(atom.element) && fitsCoordinate(atom.x) && fitsCoordinate(atom.y) &&
           fitsCoordinate(atom.z);
}

bool fitsBond(const Bond *bond) {
    return bond && fitsBondAtom(bond->atom1) && fitsBondAtom(bond->atom2) && fitsField(bond->type);
}

bool fitsTransition(const Transition &transition) {
    return fitsTransitionAtom(transition.breakA) && fitsTransitionAtom(transition.breakB) &&
           fitsTransitionAtom(transition.formA) && fitsTransitionAtom(transition.formB);
}

template <class T> bool fitsArray(const T *array, int count) {
    return count >= 0 && count <= largestCount && (array || count == 0);
}

bool fitsMolecule(const Molecule &mol) {
    return fitsArray(mol.atoms, mol.atomCount) && fitsArray(mol.bonds, mol.bondCount) &&
           fitsArray(mol.transitions, mol.transitionCount) &&
           std::ranges::all_of(atomsOf(mol), fitsAtom) &&
           std::ranges::all_of(bondsOf(mol), fitsBond) &&
           std::ranges::all_of(transitionsOf(mol), fitsTransition);
}

bool fitsFields(const Record &record) {
    return record.nameLength <= static_cast<std::size_t>(largestCount) && record.codeCount > 0 &&
           fitsMolecule(record.molecule);
}

/// For records that fit their fields.
uint32_t recordLength(const Record &record) {
    const Molecule &mol = record.molecule;
    return static_cast<uint32_t>(num_size + name_size * static_cast<int32_t>(record.nameLength) +
                                 code_size * static_cast<int32_t>(record.codeCount) +
                                 atom_size * mol.atomCount + bond_size * mol.bondCount +
                                 transition_size * mol.transitionCount);
}

/// Numbers appended one after the other, as the file has them.
class Packer {
public:
    explicit Packer(std::size_t length) { bytes_.reserve(length); }

    void text(const char *bytes, std::size_t count) {
        bytes_.insert(bytes_.end(), bytes, bytes + count);
    }
    /// The low bits of a value.
    template <class T> void integer(T value) { number(static_cast<uint16_t>(value), integerSize); }
    void coordinate(double value) {
        number(std::bit_cast<uint32_t>(static_cast<float>(value)), floatSize);
    }
    void transitionAtom(int index) { integer(index < 0 ? storedMinusOne : index); }
    std::vector<unsigned char> take() { return std::move(bytes_); }

private:
    void number(uint32_t value, int size) {
        for (int i = 0; i < size; ++i)
            bytes_.push_back(static_cast<unsigned char>(value >> 8 * i));
    }

    std::vector<unsigned char> bytes_;
};

void packMolecule(const Molecule &mol, Packer &packer) {
    packer.integer(mol.atomCount);
    packer.integer(mol.bondCount);
    packer.integer(mol.transitionCount);
    for (const Atom &atom : atomsOf(mol)) {
        packer.coordinate(atom.x);
        packer.coordinate(atom.y);
        packer.coordinate(atom.z);
        packer.integer(atom.element);
    }
    for (const Bond *bond : bondsOf(mol)) {
        packer.integer(bond->atom1);
        packer.integer(bond->atom2);
        packer.integer(bond->type);
    }
    for (const Transition &transition : transitionsOf(mol)) {
        packer.transitionAtom(transition.breakA);
        packer.transitionAtom(transition.breakB);
        packer.transitionAtom(transition.formA);
        packer.transitionAtom(transition.formB);
    }
}

} // namespace

std::vector<unsigned char> saddlefit::packedRecord(const char *name, const int32_t *codes,
                                                   const Molecule &molecule) {
    const Record record{name, std::strlen(name) + 1, codes, measureCodes(codes), molecule};
    if (!fitsFields(record)) return {};
    Packer packer(recordLength(record));
    packer.integer(record.nameLength);
    packer.text(name, record.nameLength);
    packer.integer(record.codeCount);
    for (std::size_t i = 0; i < record.codeCount; ++i)
        packer.integer(codes[i]);
    packMolecule(molecule, packer);
    return packer.take();
}
