/// The one parser of records: where the parts of a record stand, and what is in them.
#pragma once

#include "database/bytes.hpp"
#include "database/format.hpp"
#include "molecule/memory.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace saddlefit {

/// The counts of a record, and the places they lead to, from the record's first byte on.
struct RecordLayout {
    std::size_t nameLength = 0; ///< with its NUL
    std::size_t codes = 0;      ///< with the closing 0
    std::size_t atoms = 0, bonds = 0, transitions = 0;

    static constexpr std::size_t atomBytes = 3 * floatSize + integerSize,
                                 bondBytes = 3 * integerSize, transitionBytes = 4 * integerSize,
                                 nameAt = integerSize;

    std::size_t codeCountAt() const { return nameAt + nameLength; }
    std::size_t codesAt() const { return codeCountAt() + integerSize; }
    std::size_t countsAt() const { return codesAt() + codes * integerSize; }
    std::size_t atomsAt() const { return countsAt() + 3 * integerSize; }
    std::size_t bondsAt() const { return atomsAt() + atoms * atomBytes; }
    std::size_t transitionsAt() const { return bondsAt() + bonds * bondBytes; }
    std::size_t length() const { return transitionsAt() + transitions * transitionBytes; }
};

/// A stored value of a code list.
inline std::int32_t codeFrom(std::uint16_t stored) {
    return stored == storedMinusOne ? -1 : stored;
}

/// The layout of the record at an offset of a view, as far as the view says; counts behind its end
/// are 65535.
template <class View> RecordLayout layoutAt(View &view, std::int64_t data) {
    RecordLayout layout;
    const auto at = [&view, data](std::size_t place, std::size_t width) {
        return Fields(view.at(data + static_cast<std::int64_t>(place), width));
    };
    layout.nameLength = at(0, integerSize).integer(0);
    layout.codes = at(layout.codeCountAt(), integerSize).integer(0);
    const Fields counts = at(layout.countsAt(), 3 * integerSize);
    layout.atoms = counts.integer(0);
    layout.bonds = counts.integer(integerSize);
    layout.transitions = counts.integer(2 * integerSize);
    return layout;
}

/// The name, ended by one NUL more than stored, in a new block; missing bytes are NUL. Null if
/// there is no memory.
OwnedBlock<char> nameFrom(Bytes record, const RecordLayout &layout);

/// The atoms, bonds and transitions, without a name. Null if there is no memory.
OwnedMol moleculeFrom(Bytes record, const RecordLayout &layout);

/// A transition code in the form that records have, to be compared with theirs.
class StoredCode {
public:
    /// A list that ends with its first 0; throws std::bad_alloc.
    explicit StoredCode(std::span<const std::int32_t> codes);

    /// False for a code that no record can bear.
    bool canMatch() const { return !bytes_.empty(); }

    /// Number of the values and the values.
    Bytes bytes() const { return bytes_; }

    template <class View> bool isAt(View &view, std::int64_t data) const {
        const std::size_t nameLength = Fields(view.at(data, integerSize)).integer(0);
        const auto place = data + static_cast<std::int64_t>(RecordLayout::nameAt + nameLength);
        return beginsThere(view.at(place, bytes_.size()));
    }

private:
    bool beginsThere(Bytes stored) const;

    std::vector<unsigned char> bytes_;
};

/// Entries of a list up to and including its first 0.
std::span<const std::int32_t> codesToZero(const std::int32_t *codes);

} // namespace saddlefit
