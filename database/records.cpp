#include "saddlefit/database.h"

#include "database/block_walk.hpp"
#include "database/format.hpp"
#include "database/stream.hpp"
#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

using namespace saddlefit;

/// What became of a record: handed out, left aside, or more than the memory holds.
enum class Reading { passes, skipped, noMemory };

/// Entries of a code list up to and including its 0.
std::size_t codeCount(const int32_t *codes) {
    std::size_t count = 1;
    while (*codes++ != 0)
        ++count;
    return count;
}

/// What a record has to bear to pass, each list with its terminator.
struct Filter {
    const char *name; ///< null passes all
    std::size_t nameLength;
    const int32_t *codes; ///< null passes all
    std::size_t codeCount;

    Filter(const char *wantedName, const int32_t *wantedCodes)
        : name(wantedName),
          nameLength(wantedName ? std::strlen(wantedName) + 1 : 0),
          codes(wantedCodes),
          codeCount(wantedCodes ? ::codeCount(wantedCodes) : 0) {}
};

struct Record {
    OwnedBlock<char> name;
    OwnedMol molecule; ///< null if none was asked for
};

int32_t codeFrom(uint16_t stored) {
    return stored == storedMinusOne ? -1 : stored;
}

/// The length decides before memory is taken. One byte more than stored ends a name without NUL.
Reading readName(FILE *stream, const Filter &filter, OwnedBlock<char> &name) {
    const uint16_t length = Fread2cF(stream);
    if (filter.name && length != filter.nameLength) return Reading::skipped;
    name.reset(allocateArray<char>(std::size_t{length} + 1));
    if (!name) return Reading::noMemory;
    Fread1cBuf(name.get(), length, stream);
    if (filter.name && std::strcmp(name.get(), filter.name) != 0) return Reading::skipped;
    return Reading::passes;
}

/// Goes over the stored codes, which nobody needs but to compare.
Reading passCodes(FILE *stream, const Filter &filter) {
    const uint16_t count = Fread2cF(stream);
    if (filter.codes && count != filter.codeCount) return Reading::skipped;
    for (std::size_t i = 0; i < count; ++i) {
        const int32_t code = codeFrom(Fread2cF(stream));
        if (filter.codes && code != filter.codes[i]) return Reading::skipped;
    }
    return Reading::passes;
}

/// The fields of an item with one stream call. Bytes behind the end of the file have all bits set,
/// as when they are read field by field.
template <std::size_t Size> struct Fields {
    unsigned char bytes[Size];

    explicit Fields(FILE *stream) {
        const std::size_t read = Fread1cBuf(bytes, Size, stream);
        std::fill(bytes + read, bytes + Size, static_cast<unsigned char>(0xFF));
    }
    uint16_t integer(std::size_t place) const { return integerAt(bytes, place); }
    float real(std::size_t place) const {
        return std::bit_cast<float>(integer(place) | std::uint32_t{integer(place + 2)} << 16);
    }
};

bool readAtoms(FILE *stream, int count, Molecule &mol) {
    mol.atoms = allocateArray<Atom>(static_cast<std::size_t>(count));
    if (!mol.atoms) return false;
    mol.atomCount = count;
    for (Atom &atom : atomsOf(mol)) {
        const Fields<3 * floatSize + integerSize> fields(stream);
        atom.x = fields.real(0);
        atom.y = fields.real(floatSize);
        atom.z = fields.real(2 * floatSize);
        atom.element = fields.integer(3 * floatSize);
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
        const Fields<3 * integerSize> fields(stream);
        bond->atom1 = fields.integer(0);
        bond->atom2 = fields.integer(integerSize);
        bond->type = fields.integer(2 * integerSize);
    }
    return true;
}

/// The stored mark for none is above every atom's position, so one test turns both into -1.
bool readTransitions(FILE *stream, int count, Molecule &mol) {
    mol.transitions = allocateArray<Transition>(static_cast<std::size_t>(count));
    if (!mol.transitions) return false;
    mol.transitionCount = count;
    for (Transition &transition : transitionsOf(mol)) {
        const Fields<4 * integerSize> fields(stream);
        transition.breakA = atomOrNone(mol, fields.integer(0));
        transition.breakB = atomOrNone(mol, fields.integer(integerSize));
        transition.formA = atomOrNone(mol, fields.integer(2 * integerSize));
        transition.formB = atomOrNone(mol, fields.integer(3 * integerSize));
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
    const Reading name = readName(stream, filter, record.name);
    if (name != Reading::passes) return name;
    const Reading codes = passCodes(stream, filter);
    if (codes != Reading::passes || !withMolecule) return codes;
    return readMolecule(stream, record.molecule);
}

/// Whether the codes in memory, from their count on, differ from the filter's.
Look lookAtCodes(Bytes data, const Filter &filter) {
    if (data.size() < integerSize) return Look::cutOff;
    if (integerAt(data, 0) != filter.codeCount) return Look::passOver;
    const Bytes codes = data.subspan(integerSize);
    for (std::size_t i = 0; i < filter.codeCount; ++i) {
        if (codes.size() < (i + 1) * integerSize) return Look::cutOff;
        if (codeFrom(integerAt(codes, i * integerSize)) != filter.codes[i]) return Look::passOver;
    }
    return Look::stop;
}

/// Whether a record in memory fails a filter, told with as few bytes as readRecord() needs.
Look lookAtRecord(const BlockHeader &block, Bytes data, const Filter &filter) {
    if (block.status == blockFree) return Look::passOver;
    if (data.size() < integerSize) return Look::cutOff;
    const std::size_t length = integerAt(data, 0);
    if (filter.name && length != filter.nameLength) return Look::passOver;
    if (data.size() - integerSize < length) return Look::cutOff;
    if (filter.name && std::memcmp(data.data() + integerSize, filter.name, length) != 0)
        return Look::passOver;
    return filter.codes ? lookAtCodes(data.subspan(integerSize + length), filter) : Look::stop;
}

/// False for an offset out of reach, which ends the walk: the next header is then sought, in vain,
/// at the end.
bool moveToHeader(int64_t offset, FILE *stream) {
    if (seekTo(offset, stream)) return true;
    std::fseek(stream, 0, SEEK_END);
    return false;
}

/// A walk over many blocks starts with a seek and some memory, which is what these records cost.
constexpr int skippedBeforeWalk = 3;

/// Having passed over a record, pass over those behind it that need no more than a look.
void passOverOthers(int64_t passed, int64_t offset, const Filter &filter, FILE *stream) {
    const auto look = [&filter](const BlockHeader &block, Bytes data) {
        return lookAtRecord(block, data, filter);
    };
    moveToHeader(passOverBlocks(passed, offset, stream, look), stream);
}

} // namespace

char *readDB(FILE *stream, const char *nameFilter, const int32_t *codeFilter, Molecule **molecule) {
    const Filter filter(nameFilter, codeFilter);
    BlockHeader header;
    int skipped = 0;
    while (ReadHeader(&header, stream)) {
        const int64_t data = std::ftell(stream);
        if (data < 0) return nullptr;
        Record record;
        const Reading reading = header.status == blockFree
                                    ? Reading::skipped
                                    : readRecord(stream, filter, molecule != nullptr, record);
        const int64_t next = data + header.size;
        const bool reached = moveToHeader(next, stream);
        if (reading == Reading::noMemory) return nullptr;
        if (reading == Reading::skipped) {
            if (reached && ++skipped >= skippedBeforeWalk)
                passOverOthers(header.size, next, filter, stream);
            continue;
        }
        if (molecule) *molecule = record.molecule.release();
        return record.name.release();
    }
    return nullptr;
}
