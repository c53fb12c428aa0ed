#include "reaction/handedness.hpp"

#include <array>
#include <cmath>

namespace saddlefit {

namespace {

double signedVolume(const Atom *atoms) {
    std::array<std::array<double, 3>, 3> edges{};
    for (std::size_t i = 0; i < edges.size(); ++i) {
        const Atom &end = atoms[i + 1];
        edges[i] = {end.x - atoms[0].x, end.y - atoms[0].y, end.z - atoms[0].z};
    }
    const auto &[u, v, w] = edges;
    return u[0] * (v[1] * w[2] - v[2] * w[1]) + u[1] * (v[2] * w[0] - v[0] * w[2]) +
           u[2] * (v[0] * w[1] - v[1] * w[0]);
}

} // namespace

Handedness handednessOf(const Molecule &mol) {
    Handedness found;
    for (int first = 0; first + 3 < mol.atomCount; ++first) {
        const double volume = signedVolume(mol.atoms + first);
        if (std::abs(volume) <= std::abs(found.volume)) continue;
        found = {first, volume};
    }
    return found;
}

bool isMirrored(const Molecule &mol, const Handedness &before) {
    return before.first >= 0 && signedVolume(mol.atoms + before.first) * before.volume < 0;
}

} // namespace saddlefit
