#include "saddlefit/database.h"
#include "saddlefit/reaction.h"

#include "molecule/memory.hpp"

#include <cstddef>
#include <cstdio>

using namespace saddlefit;

int filterDB(const char *path, int *code, Molecule ***list) {
    constexpr int growth = 100;
    std::FILE *file = path ? std::fopen(path, "rb") : nullptr;
    if (!file) return 0;
    int count = 0;
    Molecule *molecule = nullptr;
    while (char *name = readDB(file, nullptr, code, &molecule)) {
        molecule->name = name;
        if (count % growth == 0 && !resizeArray(*list, static_cast<std::size_t>(count) + growth)) {
            freeMol(molecule);
            break;
        }
        (*list)[count++] = molecule;
    }
    std::fclose(file);
    return count;
}
