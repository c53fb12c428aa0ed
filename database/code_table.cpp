#include "database/code_table.hpp"

#include "database/scan.hpp"

#include <algorithm>
#include <tuple>

namespace saddlefit {

namespace {

/// Bytes of a stored code, its count included, that are hashed: a hostile file must not make the
/// table read its bytes many times over.
constexpr std::size_t hashedBytes = 64;

/// FNV-1a.
std::uint64_t hashOf(Bytes bytes) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const unsigned char byte : bytes.first(std::min(bytes.size(), hashedBytes)))
        hash = (hash ^ byte) * 0x100000001B3;
    return hash;
}

/// The code of a record, as far as it is hashed; nothing if the file ends before: such a record
/// bears no code that can be asked for.
std::optional<std::uint64_t> hashAt(ByteWindow &window, std::int64_t data) {
    const std::size_t nameLength = Fields(window.at(data, integerSize)).integer(0);
    const auto place = data + static_cast<std::int64_t>(RecordLayout::nameAt + nameLength);
    const Bytes stored = window.at(place, hashedBytes);
    const std::size_t length = integerSize + std::size_t{Fields(stored).integer(0)} * integerSize;
    const std::size_t hashed = std::min(length, hashedBytes);
    if (stored.size() < hashed) return std::nullopt;
    return hashOf(stored.first(hashed));
}

bool comesBefore(const CodeTable::Entry &a, const CodeTable::Entry &b) {
    return std::tie(a.hash, a.offset) < std::tie(b.hash, b.offset);
}

} // namespace

CodeTable::CodeTable(const ByteSource &source, std::optional<FileState> state) : state_(state) {
    ByteWindow window(source);
    forEachUsedBlock(window, [&](const FileBlock &block, std::uint32_t position) {
        const auto hash = hashAt(window, block.data);
        if (!hash) return true;
        isComplete_ = entries_.size() < mostEntries;
        if (isComplete_)
            entries_.push_back(
                {*hash, static_cast<std::uint32_t>(block.data - blockHeaderSize), position});
        return isComplete_;
    });
    if (!isComplete_) entries_ = {};
    entries_.shrink_to_fit();
    std::ranges::sort(entries_, comesBefore);
}

std::span<const CodeTable::Entry> CodeTable::entriesFor(const StoredCode &code) const {
    const auto [first, last] =
        std::equal_range(entries_.begin(), entries_.end(), Entry{hashOf(code.bytes()), 0, 0},
                         [](const Entry &a, const Entry &b) { return a.hash < b.hash; });
    return {first, last};
}

} // namespace saddlefit
