#include "reaction/search_lines.hpp"

#include <cstdio>

namespace saddlefit {

void SearchLines::starting(const Trial::Weighed &weighed) {
    std::printf("Starting with %s set, %d score, %d weight\n", className(weighed.candidateClass),
                weighed.score, weighed.weight);
}

void SearchLines::ending(const Molecule &mol, const Mappings &mappings) {
    std::printf("Ending with %s set, %d score, %d weight\n", className(mappings.candidateClass),
                mappings.depth, mappings.weight);
    for (int atom = 0; atom < mol.atomCount; ++atom) {
        if (mappings.first[static_cast<std::size_t>(atom)] < 0) continue;
        const char *label = mol.atoms[atom].label;
        std::printf("%s ", label ? label : "(null)");
    }
    std::printf("\n");
}

} // namespace saddlefit
