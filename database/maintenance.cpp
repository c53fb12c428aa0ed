#include "saddlefit/database.h"

#include "database/format.hpp"
#include "database/stream.hpp"
#include "molecule/memory.hpp"

#include <cstddef>
#include <cstdio>

namespace {

using namespace saddlefit;

/// Entries by which a list of names grows.
constexpr int listGrowth = 100;

constexpr char readOnly[] = "rb";
constexpr char readAndWrite[] = "r+b"; ///< of an existing file, which keeps its contents

bool growIfFull(char **&names, int count) {
    if (count % listGrowth != 0) return true;
    return resizeArray(names, static_cast<std::size_t>(count) + listGrowth);
}

/// The handle of the record at a position, from the stream's beginning; 0 if there is none.
uint32_t findRecord(int position, FILE *stream) {
    BlockHeader header;
    int recordsBefore = 0;
    while (ReadHeader(&header, stream)) {
        const int64_t data = std::ftell(stream);
        if (header.status == blockInUse && recordsBefore++ == position)
            return static_cast<uint32_t>(data);
        if (!seekTo(data + header.size, stream)) return 0;
    }
    return 0;
}

} // namespace

int listDB(const char *path, char ***names) {
    const OwnedFile file = openFile(path, readOnly);
    if (!file || !names) return 0;
    int count = 0;
    while (OwnedBlock<char> name{readDB(file.get(), nullptr, nullptr, nullptr)}) {
        if (!growIfFull(*names, count)) break;
        (*names)[count++] = name.release();
    }
    return count;
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
