// Constraints of a molecule that is mapped completely.
#include "bench.hpp"

namespace bench {
namespace {

/// A polyethylene chain in one plane, its hydrogens above and below.
Graph alkane(int atoms) {
    Graph graph;
    for (int i = 0; i < atoms; ++i) {
        const int carbon = i / 3, role = i % 3, centre = i - role;
        const double x = 1.27 * carbon, y = 0.8 * (carbon % 2); // angstrom, as below
        graph.elements.push_back(role == 0 ? 6 : 1);
        graph.places.push_back({x, y + (role ? 0.6 * (carbon % 2 ? 1 : -1) : 0),
                                role == 0   ? 0.0
                                : role == 1 ? 0.9
                                            : -0.9});
        if (role > 0) graph.bonds.push_back({centre, i, 1});
        if (role == 0 && carbon > 0) graph.bonds.push_back({centre - 3, centre, 1});
    }
    return graph;
}

} // namespace

void addConstraints() {
    constexpr std::uint8_t everything = 7;
    for (const int atoms : {100, 1000, 10000}) {
        const std::shared_ptr<Molecule> mol = molecule(alkane(atoms));
        const std::shared_ptr<Molecule> ref = molecule(alkane(atoms));
        const auto map = std::make_shared<std::vector<int>>(static_cast<std::size_t>(atoms));
        std::iota(map->begin(), map->end(), 0);
        measure("constraints/full map, per atom/" + std::to_string(atoms) + "/saddlefit",
                map->size(), [=] { constrainSub(mol.get(), ref.get(), map->data(), everything); });
    }
}

} // namespace bench
