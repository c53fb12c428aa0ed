// The bonds of the structures of a file, by the host library.
#include "host/structures/labels.hpp"
#include "host/structures/reader.hpp"

#include <cstdio>

using namespace saddlefit::host;

int main(int argc, char **argv) {
    try {
        for (const auto &record : readRecords(argc > 1 ? argv[1] : "")) {
            const auto &structure = structureOf(record);
            for (const auto &bond : structure.bonds)
                std::puts(bondLabel(structure.atoms, {bond.atom1, bond.atom2}).c_str());
        }
    } catch (const Error &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
