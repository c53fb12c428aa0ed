#include "database/strict_record.hpp"

#include "molecule/ranges.hpp"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace saddlefit {

namespace {

constexpr const char *nameBytes = "bytes of the name";
constexpr const char *codeValues = "values of the transition code";

/// Takes a record apart from front to back. Each step returns false once something is wrong; places
/// count from the beginning of the record.
class StrictReader {
public:
    StrictReader(ByteWindow &window, std::int64_t data, std::size_t size)
        : window_(window), data_(data), size_(size) {}

    bool readHead() { return readName() && readCode() && readCounts(); }
    bool readMolecule(CodeOf codeOf) {
        return atomsAreSound() && bondsAreSound() && transitionsAreSound() && codeFits(codeOf);
    }
    SoundRecord takeRecord() { return std::move(record_); }
    Damage takeDamage() { return std::move(damage_); }

private:
    bool readName();
    bool readCode();
    bool readCounts();
    bool atomsAreSound();
    bool bondsAreSound();
    bool transitionsAreSound();
    bool codeFits(CodeOf codeOf);

    bool fail(std::size_t place, std::string what) {
        damage_ = {data_ + static_cast<std::int64_t>(place), std::move(what)};
        return false;
    }
    /// For a part that is in the block.
    Bytes part(std::size_t place, std::size_t size) {
        const Bytes bytes = window_.at(data_ + static_cast<std::int64_t>(place), size);
        return bytes.first(std::min(size, bytes.size()));
    }
    bool readCount(std::size_t place, std::size_t &count, const char *what) {
        if (place + integerSize > size_)
            return fail(place, std::string("the block ends before the number of ") + what);
        count = Fields(part(place, integerSize)).integer(0);
        return true;
    }
    bool endsInside(std::size_t end, std::size_t countAt, std::size_t count, const char *what) {
        if (end <= size_) return true;
        return fail(countAt, std::to_string(count) + " " + what + " do not fit into the block of " +
                                 std::to_string(size_) + " bytes");
    }
    bool namesAtom(int atom, std::size_t place, const char *what) {
        if (atom < static_cast<int>(layout().atoms)) return true;
        return fail(place, std::string(what) + " names atom " + std::to_string(atom + 1) + " of " +
                               std::to_string(layout().atoms));
    }
    RecordLayout &layout() { return record_.layout; }

    ByteWindow &window_;
    std::int64_t data_;
    std::size_t size_;
    SoundRecord record_;
    Damage damage_;
};

bool StrictReader::readName() {
    std::size_t &length = layout().nameLength;
    if (!readCount(0, length, nameBytes) ||
        !endsInside(layout().codeCountAt(), 0, length, nameBytes))
        return false;
    if (length == 0) return fail(0, "the name has no bytes, not even its closing NUL");
    const Bytes name = part(RecordLayout::nameAt, length);
    const auto end = static_cast<std::size_t>(std::ranges::find(name, 0) - name.begin());
    if (end >= length)
        return fail(RecordLayout::nameAt + length - 1, "the name does not end with a NUL");
    if (end + 1 < length)
        return fail(RecordLayout::nameAt + end, "the name has a NUL before its end");
    record_.name = nameFrom(part(0, layout().codeCountAt()), layout());
    if (!record_.name) throw std::bad_alloc();
    return true;
}

bool StrictReader::readCode() {
    const std::size_t countAt = layout().codeCountAt();
    std::size_t &count = layout().codes;
    if (!readCount(countAt, count, codeValues) ||
        !endsInside(layout().countsAt(), countAt, count, codeValues))
        return false;
    if (count % 2 == 0)
        return fail(countAt, "the transition code has " + std::to_string(count) +
                                 " values; pairs and a closing 0 make an odd number");
    const Fields values(part(layout().codesAt(), count * integerSize));
    for (std::size_t i = 0; i < count; ++i) {
        const std::int32_t value = codeFrom(values.integer(i * integerSize));
        record_.code.push_back(value);
        if ((value == 0) == (i + 1 == count)) continue;
        return fail(layout().codesAt() + i * integerSize,
                    value == 0 ? "the transition code has a 0 before its end"
                               : "the transition code does not end with 0");
    }
    return true;
}

bool StrictReader::readCounts() {
    RecordLayout &lengths = layout();
    const std::size_t atomsAt = lengths.countsAt(), bondsAt = atomsAt + integerSize,
                      transitionsAt = bondsAt + integerSize;
    return readCount(atomsAt, lengths.atoms, "atoms") &&
           readCount(bondsAt, lengths.bonds, "bonds") &&
           readCount(transitionsAt, lengths.transitions, "transitions") &&
           endsInside(lengths.bondsAt(), atomsAt, lengths.atoms, "atoms") &&
           endsInside(lengths.transitionsAt(), bondsAt, lengths.bonds, "bonds") &&
           endsInside(lengths.length(), transitionsAt, lengths.transitions, "transitions");
}

bool StrictReader::atomsAreSound() {
    const Fields atoms(part(layout().atomsAt(), layout().atoms * RecordLayout::atomBytes));
    for (std::size_t atom = 0; atom < layout().atoms; ++atom)
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::size_t at = atom * RecordLayout::atomBytes + axis * floatSize;
            if (!std::isfinite(atoms.real(at)))
                return fail(layout().atomsAt() + at, "a coordinate is not finite");
        }
    return true;
}

bool StrictReader::bondsAreSound() {
    const Fields bonds(part(layout().bondsAt(), layout().bonds * RecordLayout::bondBytes));
    for (std::size_t bond = 0; bond < layout().bonds; ++bond)
        for (std::size_t end = 0; end < 2; ++end) {
            const std::size_t at = bond * RecordLayout::bondBytes + end * integerSize;
            if (!namesAtom(bonds.integer(at), layout().bondsAt() + at, "a bond")) return false;
        }
    return true;
}

bool StrictReader::transitionsAreSound() {
    const std::size_t from = layout().transitionsAt(), length = layout().length() - from;
    const Fields transitions(part(from, length));
    for (std::size_t at = 0; at < length; at += integerSize) {
        const std::uint16_t atom = transitions.integer(at);
        if (atom != storedMinusOne && !namesAtom(atom, from + at, "a transition")) return false;
    }
    return true;
}

bool StrictReader::codeFits(CodeOf codeOf) {
    record_.molecule = moleculeFrom(part(0, layout().length()), layout());
    if (!record_.molecule) throw std::bad_alloc();
    const OwnedBlock<int> computed(codeOf(record_.molecule.get()));
    if (!computed && layout().transitions > 0) throw std::bad_alloc();
    constexpr int codeOfNothing[] = {0};
    if (std::ranges::equal(record_.code, codesToZero(computed ? computed.get() : codeOfNothing)))
        return true;
    return fail(layout().codesAt(), "the transition code is not that of the record's transitions");
}

} // namespace

std::variant<SoundRecord, Damage> readStrictly(ByteWindow &window, std::int64_t data,
                                               std::size_t size, CodeOf codeOf, Depth depth) {
    StrictReader reader(window, data, size);
    if (reader.readHead() && (depth == Depth::head || reader.readMolecule(codeOf)))
        return reader.takeRecord();
    return reader.takeDamage();
}

} // namespace saddlefit
