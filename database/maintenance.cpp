#include "saddlefit/database.h"

#include "database/block_walk.hpp"
#include "database/format.hpp"
#include "database/stream.hpp"
#include "molecule/memory.hpp"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

using namespace saddlefit;

/// Entries by which a list of names grows.
constexpr int listGrowth = 100;

constexpr char readOnly[] = "rb";
constexpr char readAndWrite[] = "r+b"; ///< of an existing file, which keeps its contents

/// The caller's list of names, which grows in steps.
class NameList {
public:
    explicit NameList(char **&names) : names_(names) {}
    int count() const { return count_; }

    /// Take over a name; false, and the name released, if there is no memory.
    bool append(OwnedBlock<char> name) {
        if (count_ % listGrowth == 0 &&
            !resizeArray(names_, static_cast<std::size_t>(count_) + listGrowth))
            return false;
        names_[count_++] = name.release();
        return true;
    }

    /// Append the name of a record in memory if it is all there.
    Look appendFrom(const BlockHeader &block, Bytes data) {
        if (block.status == blockFree) return Look::passOver;
        if (data.size() < integerSize) return Look::cutOff;
        const std::size_t length = integerAt(data, 0);
        if (data.size() - integerSize < length) return Look::cutOff;
        OwnedBlock<char> name(allocateArray<char>(length + 1));
        if (!name) return Look::stop;
        std::memcpy(name.get(), data.data() + integerSize, length);
        return append(std::move(name)) ? Look::passOver : Look::stop;
    }

private:
    char **&names_;
    int count_ = 0;
};

/// The handle of the record at a position, from the stream's beginning; 0 if there is none.
uint32_t findRecord(int position, FILE *stream) {
    BlockHeader header;
    int recordsBefore = 0;
    while (ReadHeader(&header, stream)) {
        const int64_t data = std::ftell(stream);
        if (header.status == blockInUse && recordsBefore++ == position)
            return static_cast<uint32_t>(data);
        if (!seekTo(data + header.size, stream)) return 0;
        const auto count = [&](const BlockHeader &block, Bytes) {
            if (block.status != blockInUse) return Look::passOver;
            if (recordsBefore == position) return Look::stop;
            ++recordsBefore;
            return Look::passOver;
        };
        const int64_t next = passOverBlocks(header.size, data + header.size, stream, count);
        if (!seekTo(next, stream)) return 0;
    }
    return 0;
}

} // namespace

int listDB(const char *path, char ***names) {
    const OwnedFile file = openFile(path, readOnly);
    if (!file || !names) return 0;
    NameList list(*names);
    int64_t offset = 0;
    while (OwnedBlock<char> name{readDB(file.get(), nullptr, nullptr, nullptr)}) {
        if (!list.append(std::move(name))) break;
        const int64_t before = std::exchange(offset, std::ftell(file.get()));
        const auto append = [&list](const BlockHeader &block, Bytes data) {
            return list.appendFrom(block, data);
        };
        offset = passOverBlocks(offset - before, offset, file.get(), append);
        if (!seekTo(offset, file.get())) break;
    }
    return list.count();
}

int insertDB(const char *path, char *name, const int32_t *codes, Molecule *molecule) {
    OwnedBlock<char> takenOver(name);
    OwnedFile file = openFile(path, readAndWrite);
    if (!file) return 0;
    const int written = writeDB(file.get(), takenOver.release(), codes, molecule);
    const bool closed = std::fclose(file.release()) == 0;
    return written && closed;
}

int removeDB(const char *path, int position) {
    const OwnedFile file = openFile(path, readAndWrite);
    if (!file) return 0;
    const uint32_t handle = findRecord(position, file.get());
    if (handle == 0) return 0;
    Ffree(handle, file.get());
    return 1;
}
