#include "saddlefit/database.h"

#include "database/format.hpp"
#include "database/record_packer.hpp"
#include "database/reservation.hpp"
#include "molecule/memory.hpp"

#include <cstdio>
#include <vector>

using namespace saddlefit;

namespace {

/// Flushes first: only then has every byte met the file, and what could not be written no longer
/// stands in the way of the next seek.
bool reachedFile(FILE *stream) {
    return std::fflush(stream) == 0 && !std::ferror(stream);
}

} // namespace

int writeDB(FILE *stream, char *name, const int32_t *codes, Molecule *molecule) {
    const OwnedBlock<char> takenOver(name);
    if (!name || !codes || !molecule) return 0;
    const auto record =
        guarded(std::vector<unsigned char>{}, [&] { return packedRecord(name, codes, *molecule); });
    if (record.empty()) return 0;
    const auto length = static_cast<uint32_t>(record.size());
    const uint32_t handle = reserveBlock(length, stream);
    if (handle == 0) return 0;
    Fwrite1cBuf(record.data(), length, stream);
    if (!reachedFile(stream)) return 0;
    const long end = std::ftell(stream);
    if (!markBlock(handle, blockInUse, stream)) {
        markBlock(handle, blockFree, stream); // or a later flush might still make a record of it
        return 0;
    }
    std::fseek(stream, end, SEEK_SET);
    return 1;
}
