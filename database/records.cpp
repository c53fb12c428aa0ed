#include "saddlefit/database.h"

#include "database/block_walk.hpp"
#include "database/format.hpp"
#include "database/record_layout.hpp"
#include "database/stream.hpp"
#include "molecule/memory.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

namespace {

using namespace saddlefit;

/// What became of a record: handed out, left aside, or more than the memory holds.
enum class Reading { passes, skipped, noMemory };

/// What a record has to bear to pass.
struct Filter {
    const char *name; ///< null passes all
    std::size_t nameLength;
    std::optional<StoredCode> code;

    /// Throws std::bad_alloc.
    Filter(const char *wantedName, const int32_t *wantedCodes)
        : name(wantedName), nameLength(wantedName ? std::strlen(wantedName) + 1 : 0) {
        if (wantedCodes) code.emplace(codesToZero(wantedCodes));
    }
};

struct Record {
    OwnedBlock<char> name;
    OwnedMol molecule; ///< null if none was asked for
};

/// The bytes of a record, read from a stream as far as they are looked at.
class StreamView {
public:
    explicit StreamView(FILE *stream) : stream_(stream) {}

    /// As ByteWindow::at(), from the record's first byte on.
    Bytes at(int64_t place, std::size_t size) {
        const auto first = static_cast<std::size_t>(place);
        if (first + size > bytes_.size()) extendTo(first + size);
        return Bytes(bytes_).subspan(std::min(first, bytes_.size()));
    }

private:
    void extendTo(std::size_t length) {
        const std::size_t before = bytes_.size();
        bytes_.resize(length);
        bytes_.resize(before + std::fread(bytes_.data() + before, 1, length - before, stream_));
    }

    FILE *stream_;
    std::vector<unsigned char> bytes_;
};

/// Read a record, from its first byte on, as far as it takes to know whether it passes.
Reading readRecord(StreamView view, const Filter &filter, bool withMolecule, Record &record) {
    RecordLayout layout;
    layout.nameLength = Fields(view.at(0, integerSize)).integer(0);
    if (filter.name && layout.nameLength != filter.nameLength) return Reading::skipped;
    record.name = nameFrom(view.at(0, layout.codeCountAt()), layout);
    if (!record.name) return Reading::noMemory;
    if (filter.name && std::strcmp(record.name.get(), filter.name) != 0) return Reading::skipped;
    if (filter.code && !filter.code->isAt(view, 0)) return Reading::skipped;
    if (!withMolecule) return Reading::passes;
    layout = layoutAt(view, 0);
    record.molecule = moleculeFrom(view.at(0, layout.length()), layout);
    return record.molecule ? Reading::passes : Reading::noMemory;
}

/// Whether the codes in memory, from their count on, differ from the filter's.
Look lookAtCode(Bytes stored, const StoredCode &code) {
    const std::size_t length = std::min(stored.size(), code.bytes().size());
    if (!code.canMatch() || !std::ranges::equal(stored.first(length), code.bytes().first(length)))
        return Look::passOver;
    return length < code.bytes().size() ? Look::cutOff : Look::stop;
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
    return filter.code ? lookAtCode(data.subspan(integerSize + length), *filter.code) : Look::stop;
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

/// Read on to the next record that passes; false if there is none, or no memory.
bool findRecord(FILE *stream, const Filter &filter, bool withMolecule, Record &record) {
    BlockHeader header;
    int skipped = 0;
    while (ReadHeader(&header, stream)) {
        const int64_t data = std::ftell(stream);
        if (data < 0) return false;
        const Reading reading =
            header.status == blockFree ? Reading::skipped : guarded(Reading::noMemory, [&] {
                return readRecord(StreamView(stream), filter, withMolecule, record);
            });
        const int64_t next = data + header.size;
        const bool reached = moveToHeader(next, stream);
        if (reading != Reading::skipped) return reading == Reading::passes;
        if (reached && ++skipped >= skippedBeforeWalk)
            passOverOthers(header.size, next, filter, stream);
    }
    return false;
}

} // namespace

char *readDB(FILE *stream, const char *nameFilter, const int32_t *codeFilter, Molecule **molecule) {
    return guarded(static_cast<char *>(nullptr), [&]() -> char * {
        Record record;
        if (!findRecord(stream, Filter(nameFilter, codeFilter), molecule != nullptr, record))
            return nullptr;
        if (molecule) *molecule = record.molecule.release();
        return record.name.release();
    });
}
