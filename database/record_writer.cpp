#include "saddlefit/database.h"

#include "database/format.hpp"
#include "database/reservation.hpp"
#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>

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

template <class T> void writeInteger(T value, FILE *stream) {
    Fwrite2cF(static_cast<uint16_t>(value), stream);
}

void writeCoordinate(double value, FILE *stream) {
    Fwrite4fF(static_cast<float>(value), stream);
}

void writeTransitionAtom(int index, FILE *stream) {
    Fwrite2cF(index < 0 ? storedMinusOne : static_cast<uint16_t>(index), stream);
}

void writeMolecule(const Molecule &mol, FILE *stream) {
    writeInteger(mol.atomCount, stream);
    writeInteger(mol.bondCount, stream);
    writeInteger(mol.transitionCount, stream);
    for (const Atom &atom : atomsOf(mol)) {
        writeCoordinate(atom.x, stream);
        writeCoordinate(atom.y, stream);
        writeCoordinate(atom.z, stream);
        writeInteger(atom.element, stream);
    }
    for (const Bond *bond : bondsOf(mol)) {
        writeInteger(bond->atom1, stream);
        writeInteger(bond->atom2, stream);
        writeInteger(bond->type, stream);
    }
    for (const Transition &transition : transitionsOf(mol)) {
        writeTransitionAtom(transition.breakA, stream);
        writeTransitionAtom(transition.breakB, stream);
        writeTransitionAtom(transition.formA, stream);
        writeTransitionAtom(transition.formB, stream);
    }
}

void writeRecord(const Record &record, FILE *stream) {
    writeInteger(record.nameLength, stream);
    Fwrite1cBuf(record.name, static_cast<uint32_t>(record.nameLength), stream);
    writeInteger(record.codeCount, stream);
    for (std::size_t i = 0; i < record.codeCount; ++i)
        writeInteger(record.codes[i], stream);
    writeMolecule(record.molecule, stream);
}

/// Flushes first: only then has every byte met the file, and what could not be written no longer
/// stands in the way of the next seek.
bool reachedFile(FILE *stream) {
    return std::fflush(stream) == 0 && !std::ferror(stream);
}

} // namespace

int writeDB(FILE *stream, char *name, const int32_t *codes, Molecule *molecule) {
    const OwnedBlock<char> takenOver(name);
    if (!name || !codes || !molecule) return 0;
    const Record record{name, std::strlen(name) + 1, codes, measureCodes(codes), *molecule};
    if (!fitsFields(record)) return 0;
    const uint32_t handle = reserveBlock(recordLength(record), stream);
    if (handle == 0) return 0;
    writeRecord(record, stream);
    if (!reachedFile(stream)) return 0;
    const long end = std::ftell(stream);
    if (!markBlock(handle, blockInUse, stream)) {
        markBlock(handle, blockFree, stream); // or a later flush might still make a record of it
        return 0;
    }
    std::fseek(stream, end, SEEK_SET);
    return 1;
}
