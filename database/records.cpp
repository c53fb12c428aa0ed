#include "saddlefit/database.h"

#include "database/format.hpp"
#include "database/stream.hpp"
#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

using namespace saddlefit;

/// What became of a record: handed out, left aside, or more than the memory holds.
enum class Reading { passes, skipped, noMemory };

struct Filter {
    const char *name;     ///< null passes all
    const int32_t *codes; ///< null passes all
};

struct Record {
    OwnedBlock<char> name;
    OwnedMol molecule; ///< null if none was asked for
};

/// Entries of a code list up to and including its 0.
std::size_t codeCount(const int32_t *codes) {
    std::size_t count = 1;
    while (*codes++ != 0)
        ++count;
    return count;
}

int32_t readCode(FILE *stream) {
    const uint16_t stored = Fread2cF(stream);
    return stored == storedMinusOne ? -1 : stored;
}

/// The length decides before memory is taken. One byte more than stored ends a name without NUL.
Reading readName(FILE *stream, const char *filter, OwnedBlock<char> &name) {
    const uint16_t length = Fread2cF(stream);
    if (filter && length != std::strlen(filter) + 1) return Reading::skipped;
    name.reset(allocateArray<char>(std::size_t{length} + 1));
    if (!name) return Reading::noMemory;
    Fread1cBuf(name.get(), length, stream);
    if (filter && std::strcmp(name.get(), filter) != 0) return Reading::skipped;
    return Reading::passes;
}

/// Goes over the stored codes, which nobody needs but to compare.
Reading passCodes(FILE *stream, const int32_t *filter) {
    const uint16_t count = Fread2cF(stream);
    if (filter && count != codeCount(filter)) return Reading::skipped;
    for (std::size_t i = 0; i < count; ++i) {
        const int32_t code = readCode(stream);
        if (filter && code != filter[i]) return Reading::skipped;
    }
    return Reading::passes;
}

bool readAtoms(FILE *stream, int count, Molecule &mol) {
    mol.atoms = allocateArray<Atom>(static_cast<std::size_t>(count));
    if (!mol.atoms) return false;
    mol.atomCount = count;
    for (Atom &atom : atomsOf(mol)) {
        atom.x = Fread4fF(stream);
        atom.y = Fread4fF(stream);
        atom.z = Fread4fF(stream);
        atom.element = Fread2cF(stream);
    }
    return true;
}

/// Counts each bond once it exists, so that a half-read molecule can be released.
bool readBonds(FILE *stream, int count, Molecule &mol) {
    mol.bonds = allocateArray<Bond *>(static_cast<std::size_t>(count));
    if (!mol.bonds) return false;
    while (mol.bondCount < count) {
        Bond *bond = allocateArray<Bond>(1);
        if (!bond) return false;
        mol.bonds[mol.bondCount++] = bond;
        bond->atom1 = Fread2cF(stream);
        bond->atom2 = Fread2cF(stream);
        bond->type = Fread2cF(stream);
    }
    return true;
}

/// The stored mark for none is above every atom's position, so one test turns both into -1.
bool readTransitions(FILE *stream, int count, Molecule &mol) {
    mol.transitions = allocateArray<Transition>(static_cast<std::size_t>(count));
    if (!mol.transitions) return false;
    mol.transitionCount = count;
    for (Transition &transition : transitionsOf(mol)) {
        transition.breakA = atomOrNone(mol, Fread2cF(stream));
        transition.breakB = atomOrNone(mol, Fread2cF(stream));
        transition.formA = atomOrNone(mol, Fread2cF(stream));
        transition.formB = atomOrNone(mol, Fread2cF(stream));
    }
    return true;
}

Reading readMolecule(FILE *stream, OwnedMol &molecule) {
    const int atoms = Fread2cF(stream);
    const int bonds = Fread2cF(stream);
    const int transitions = Fread2cF(stream);
    molecule.reset(createMol());
    const bool complete = molecule && readAtoms(stream, atoms, *molecule) &&
                          readBonds(stream, bonds, *molecule) &&
                          readTransitions(stream, transitions, *molecule);
    return complete ? Reading::passes : Reading::noMemory;
}

/// Read the record at the stream's position as far as it takes to know whether it passes.
Reading readRecord(FILE *stream, const Filter &filter, bool withMolecule, Record &record) {
    const Reading name = readName(stream, filter.name, record.name);
    if (name != Reading::passes) return name;
    const Reading codes = passCodes(stream, filter.codes);
    if (codes != Reading::passes || !withMolecule) return codes;
    return readMolecule(stream, record.molecule);
}

/// An offset out of reach ends the walk: the next header is then sought, in vain, at the end.
void moveToHeader(int64_t offset, FILE *stream) {
    if (!seekTo(offset, stream)) std::fseek(stream, 0, SEEK_END);
}

} // namespace

char *readDB(FILE *stream, const char *nameFilter, const int32_t *codeFilter, Molecule **molecule) {
    BlockHeader header;
    while (ReadHeader(&header, stream)) {
        const int64_t data = std::ftell(stream);
        if (data < 0) return nullptr;
        Record record;
        const Reading reading =
            header.status == blockFree
                ? Reading::skipped
                : readRecord(stream, {nameFilter, codeFilter}, molecule != nullptr, record);
        moveToHeader(data + header.size, stream);
        if (reading == Reading::noMemory) return nullptr;
        if (reading == Reading::skipped) continue;
        if (molecule) *molecule = record.molecule.release();
        return record.name.release();
    }
    return nullptr;
}
