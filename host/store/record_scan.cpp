#include "host/store/record_scan.hpp"

#include "saddlefit/database.h"
#include "saddlefit/reaction.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace saddlefit::host {

namespace {

constexpr std::size_t integerBytes = 2;
constexpr std::size_t floatBytes = 4;
constexpr int storedNone = 0xFFFF; // reads as -1: no atom

// Takes a record apart from front to back. Each step returns false once something is wrong.
class RecordReader {
public:
    RecordReader(std::string_view data, std::size_t offset) : data_(data), offset_(offset) {}

    std::variant<StoredRecord, Damage> read() {
        if (readName() && readCode() && readCounts() && readAtoms() && readBonds() &&
            readTransitions() && codeFits()) {
            record_.bytes = at_;
            return std::move(record_);
        }
        return std::move(damage_);
    }

private:
    bool readName();
    bool readCode();
    bool readCounts();
    bool readAtoms();
    bool readBonds();
    bool readTransitions();
    bool codeFits();

    // Offsets count from the beginning of the record.
    bool fail(std::size_t at, std::string what) {
        damage_ = {offset_ + at, std::move(what)};
        return false;
    }
    std::string_view take(std::size_t bytes) {
        at_ += bytes;
        return data_.substr(at_ - bytes, bytes);
    }
    int integer() { return static_cast<int>(littleEndian(take(integerBytes))); }
    double real() { return std::bit_cast<float>(littleEndian(take(floatBytes))); }

    bool readCount(std::size_t &count, const char *what);
    bool hasRoom(std::size_t bytes, std::size_t countAt, std::size_t count, const char *what);
    bool readAtomOfBond(int &atom);
    bool readAtomOfTransition(int &atom);

    std::string_view data_;
    std::size_t offset_;
    std::size_t at_ = 0;
    std::size_t codeAt_ = 0;
    StoredRecord record_;
    Damage damage_;
};

bool RecordReader::readCount(std::size_t &count, const char *what) {
    if (data_.size() - at_ < integerBytes) {
        return fail(at_, std::string("the block ends before the number of ") + what);
    }
    count = static_cast<std::size_t>(integer());
    return true;
}

bool RecordReader::hasRoom(std::size_t bytes, std::size_t countAt, std::size_t count,
                           const char *what) {
    if (bytes <= data_.size() - at_) return true;
    return fail(countAt, std::to_string(count) + " " + what + " do not fit into the block of " +
                             std::to_string(data_.size()) + " bytes");
}

bool RecordReader::readName() {
    constexpr const char *what = "bytes of the name";
    std::size_t length = 0;
    if (!readCount(length, what) || !hasRoom(length, 0, length, what)) return false;
    if (length == 0) return fail(0, "the name has no bytes, not even its closing NUL");
    const auto nameAt = at_;
    record_.name = take(length);
    const auto end = record_.name.find('\0');
    if (end == std::string::npos) return fail(at_ - 1, "the name does not end with a NUL");
    if (end + 1 < length) return fail(nameAt + end, "the name has a NUL before its end");
    record_.name.pop_back();
    return true;
}

bool RecordReader::readCode() {
    constexpr const char *what = "values of the transition code";
    std::size_t count = 0;
    if (!readCount(count, what)) return false;
    codeAt_ = at_;
    const auto countAt = at_ - integerBytes;
    if (!hasRoom(integerBytes * count, countAt, count, what)) return false;
    if (count % 2 == 0) {
        return fail(countAt, "the transition code has " + std::to_string(count) +
                                 " values; pairs and a closing 0 make an odd number");
    }
    for (std::size_t i = 1; i <= count; ++i) {
        const int value = integer();
        record_.code.push_back(value == storedNone ? -1 : value);
        if ((value == 0) == (i == count)) continue;
        return fail(at_ - integerBytes, value == 0 ? "the transition code has a 0 before its end"
                                                   : "the transition code does not end with 0");
    }
    return true;
}

bool RecordReader::readCounts() {
    const auto countsAt = at_;
    std::size_t atoms = 0;
    std::size_t bonds = 0;
    std::size_t transitions = 0;
    if (!readCount(atoms, "atoms") || !readCount(bonds, "bonds") ||
        !readCount(transitions, "transitions")) {
        return false;
    }
    record_.atoms.resize(atoms);
    record_.bonds.resize(bonds);
    record_.transitions.resize(transitions);
    const auto atomBytes = atoms * static_cast<std::size_t>(atom_size);
    const auto bondBytes = bonds * static_cast<std::size_t>(bond_size);
    const auto transitionBytes = transitions * static_cast<std::size_t>(transition_size);
    return hasRoom(atomBytes, countsAt, atoms, "atoms") &&
           hasRoom(atomBytes + bondBytes, countsAt + integerBytes, bonds, "bonds") &&
           hasRoom(atomBytes + bondBytes + transitionBytes, countsAt + 2 * integerBytes,
                   transitions, "transitions");
}

bool RecordReader::readAtoms() {
    for (auto &atom : record_.atoms) {
        for (double *axis : {&atom.position.x, &atom.position.y, &atom.position.z}) {
            *axis = real();
            if (!std::isfinite(*axis)) return fail(at_ - floatBytes, "a coordinate is not finite");
        }
        atom.element = integer();
    }
    return true;
}

bool RecordReader::readAtomOfBond(int &atom) {
    atom = integer();
    const auto atoms = record_.atoms.size();
    if (static_cast<std::size_t>(atom) < atoms) return true;
    return fail(at_ - integerBytes,
                "a bond names atom " + std::to_string(atom + 1) + " of " + std::to_string(atoms));
}

bool RecordReader::readBonds() {
    for (auto &bond : record_.bonds) {
        if (!readAtomOfBond(bond.atom1) || !readAtomOfBond(bond.atom2)) return false;
        bond.type = integer();
    }
    return true;
}

bool RecordReader::readAtomOfTransition(int &atom) {
    atom = integer();
    const auto atoms = record_.atoms.size();
    if (atom == storedNone) atom = -1;
    if (atom < static_cast<int>(atoms)) return true;
    return fail(at_ - integerBytes, "a transition names atom " + std::to_string(atom + 1) + " of " +
                                        std::to_string(atoms));
}

bool RecordReader::readTransitions() {
    for (auto &step : record_.transitions) {
        for (int *atom : {&step.breakA, &step.breakB, &step.formA, &step.formB}) {
            if (!readAtomOfTransition(*atom)) return false;
        }
    }
    return true;
}

// The code that the library computes, for a molecule that is no more than elements and transitions.
std::vector<int> codeOfTransitions(const StoredRecord &record) {
    std::vector<Atom> atoms(record.atoms.size());
    std::transform(record.atoms.begin(), record.atoms.end(), atoms.begin(),
                   [](const StructureAtom &stored) {
                       Atom atom{};
                       atom.element = stored.element;
                       return atom;
                   });
    auto transitions = record.transitions;
    Molecule mol{};
    mol.atoms = atoms.data();
    mol.atomCount = static_cast<int>(atoms.size());
    mol.transitions = transitions.data();
    mol.transitionCount = static_cast<int>(transitions.size());
    const std::unique_ptr<int, decltype(&std::free)> computed(getTransitionCode(&mol), &std::free);
    std::vector<int> code;
    for (const int *value = computed.get(); value != nullptr && *value != 0; ++value) {
        code.push_back(*value);
    }
    code.push_back(0);
    return code;
}

bool RecordReader::codeFits() {
    if (record_.code == codeOfTransitions(record_)) return true;
    return fail(codeAt_, "the transition code is not that of the record's transitions");
}

} // namespace

unsigned int littleEndian(std::string_view bytes) {
    unsigned int value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        value |= static_cast<unsigned int>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    }
    return value;
}

std::variant<StoredRecord, Damage> readRecord(std::string_view data, std::size_t offset) {
    return RecordReader(data, offset).read();
}

} // namespace saddlefit::host
