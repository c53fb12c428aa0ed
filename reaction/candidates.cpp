#include "saddlefit/reaction.h"

#include "database/scan.hpp"
#include "molecule/memory.hpp"

#include <cstddef>
#include <optional>

using namespace saddlefit;

namespace {

/// Places by which a list of molecules grows.
constexpr int listGrowth = 100;

bool append(Molecule **&list, int &count, OwnedMol molecule) {
    if (count % listGrowth == 0 && !resizeArray(list, static_cast<std::size_t>(count) + listGrowth))
        return false;
    list[count++] = molecule.release();
    return true;
}

} // namespace

int filterDB(const char *path, int *code, Molecule ***list) {
    int count = 0;
    guarded(0, [&] {
        const auto file = ByteSource::open(path);
        if (!file) return 0;
        std::optional<StoredCode> wanted;
        if (code) wanted.emplace(codesToZero(code));
        const auto take = [&](StoredMolecule stored) {
            return append(*list, count, std::move(stored.molecule));
        };
        scanRecords(*file, wanted ? &*wanted : nullptr, Oversized::read, take);
        return count;
    });
    return count;
}
