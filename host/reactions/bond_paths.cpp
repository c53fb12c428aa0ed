#include "host/reactions/bond_paths.hpp"

namespace saddlefit::host {

Neighbours neighboursBy(std::span<const AtomPair> bonds, std::size_t atoms) {
    Neighbours neighbours(atoms);
    const auto exists = [&](int atom) {
        return atom >= 0 && static_cast<std::size_t>(atom) < atoms;
    };
    for (const auto &[a, b] : bonds) {
        if (!exists(a) || !exists(b)) continue;
        neighbours[static_cast<std::size_t>(a)].push_back(b);
        neighbours[static_cast<std::size_t>(b)].push_back(a);
    }
    return neighbours;
}

std::vector<int> pathsFrom(int atom, const Neighbours &neighbours) {
    std::vector<int> paths(neighbours.size(), longestPath);
    paths[static_cast<std::size_t>(atom)] = 0;
    std::vector<int> reached{atom};
    for (std::size_t next = 0; next < reached.size(); ++next) {
        const auto from = static_cast<std::size_t>(reached[next]);
        for (const int to : neighbours[from]) {
            int &path = paths[static_cast<std::size_t>(to)];
            if (path <= paths[from] + 1) continue;
            path = paths[from] + 1;
            reached.push_back(to);
        }
    }
    return paths;
}

} // namespace saddlefit::host
