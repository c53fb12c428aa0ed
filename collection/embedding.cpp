#include "collection/embedding.hpp"

#include "collection/geometry.hpp"
#include "host/reactions/bond_paths.hpp"
#include "host/reactions/distance_fit.hpp"
#include "host/structures/element_data.hpp"
#include "host/structures/units.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace saddlefit::collection {

namespace {

constexpr int mostTries = 12;
constexpr double gap = 3.0; // angstrom, between two molecules in a row

/// One molecule of a drawing, its atoms counted anew.
struct Part {
    Species species;
    BondOrders orders;
};

Part partOf(const Species &species, const BondOrders &orders, const std::vector<int> &atoms) {
    Part part;
    std::map<int, int> placeOf;
    for (const int atom : atoms) {
        placeOf[atom] = static_cast<int>(placeOf.size());
        part.species.elements.push_back(species.elements[static_cast<std::size_t>(atom)]);
    }
    for (const auto &[pair, order] : orders)
        if (placeOf.contains(pair.first))
            part.orders[orderedPair(placeOf[pair.first], placeOf[pair.second])] = order;
    return part;
}

/// The distances that bonds and angles lead to, and rough ones beyond.
class UsualDistances {
public:
    UsualDistances(const Species &species, const BondOrders &orders)
        : species_(species), orders_(orders) {
        std::vector<AtomPair> pairs;
        multiple_.assign(species.elements.size(), 0);
        for (const auto &[pair, order] : orders) {
            pairs.push_back(pair);
            for (const int atom : {pair.first, pair.second})
                multiple_[static_cast<std::size_t>(atom)] += order - 1;
        }
        neighbours_ = neighboursBy(pairs, species.elements.size());
        for (std::size_t atom = 0; atom < neighbours_.size(); ++atom)
            paths_.push_back(pathsFrom(static_cast<int>(atom), neighbours_));
    }

    double operator()(std::size_t a, std::size_t b) const {
        const int one = static_cast<int>(a), other = static_cast<int>(b);
        if (paths_[a][b] == 1) return bond(one, other);
        if (paths_[a][b] > 2) return 2.2 + 0.6 * paths_[a][b];
        for (const int middle : neighbours_[a]) {
            if (paths_[static_cast<std::size_t>(middle)][b] != 1) continue;
            const double to = bond(one, middle), from = bond(middle, other);
            return std::sqrt(to * to + from * from - 2 * to * from * cosineAt(middle));
        }
        return gap;
    }

private:
    double bond(int a, int b) const {
        constexpr std::array shrink{1.0, 0.87, 0.79};
        const auto radius = [&](int atom) {
            return covalentRadius(species_.elements[static_cast<std::size_t>(atom)]);
        };
        const int order = orders_.at(orderedPair(a, b));
        return angstromPerBohr * shrink[static_cast<std::size_t>(order - 1)] *
               (radius(a) + radius(b));
    }

    double cosineAt(int atom) const {
        const auto i = static_cast<std::size_t>(atom);
        if (neighbours_[i].size() == 2 && multiple_[i] > 1) return -1.0;
        const bool flat = neighbours_[i].size() < 4 && multiple_[i] > 0;
        return flat ? -0.5 : -1.0 / 3.0;
    }

    const Species &species_;
    const BondOrders &orders_;
    std::vector<int> multiple_; // bonds beyond the first to each neighbour
    Neighbours neighbours_;
    std::vector<std::vector<int>> paths_;
};

Eigen::VectorXd scatteredAtoms(std::size_t atoms, Random &random) {
    const double edge = (2.0 + static_cast<double>(atoms) / 3.0) / angstromPerBohr;
    Eigen::VectorXd coordinates(static_cast<Eigen::Index>(3 * atoms));
    for (auto &coordinate : coordinates)
        coordinate = edge * random.uniform();
    return coordinates;
}

/// The first of some tries whose bonds are those that are drawn, else the last.
Eigen::VectorXd embeddedPart(const Part &part) {
    if (part.species.elements.size() == 1) return Eigen::VectorXd::Zero(3);
    Random random(part.species.elements.size());
    Eigen::VectorXd coordinates;
    for (int i = 0; i < mostTries; ++i) {
        const auto start = scatteredAtoms(part.species.elements.size(), random);
        coordinates = relaxedByForceField(part.species, part.orders,
                                          atUsualDistances(part.species, part.orders, start));
        if (bondGraph(part.species, coordinates) == graphOf(part.orders)) break;
    }
    return coordinates;
}

} // namespace

Eigen::VectorXd atUsualDistances(const Species &species, const BondOrders &orders,
                                 const Eigen::VectorXd &start) {
    std::vector<Position> positions;
    for (Eigen::Index i = 0; i + 2 < start.size(); i += 3) {
        const Eigen::Vector3d at = angstromPerBohr * start.segment<3>(i);
        positions.push_back({at.x(), at.y(), at.z()});
    }
    fitDistances(positions, UsualDistances(species, orders), {}, {});
    Eigen::VectorXd coordinates(start.size());
    for (std::size_t i = 0; i < positions.size(); ++i)
        coordinates.segment<3>(static_cast<Eigen::Index>(3 * i)) =
            Eigen::Vector3d(positions[i].x, positions[i].y, positions[i].z) / angstromPerBohr;
    return coordinates;
}

Eigen::VectorXd embedded(const Species &species, const LewisStructure &drawing) {
    const auto atoms = species.elements.size();
    Eigen::VectorXd coordinates(static_cast<Eigen::Index>(3 * atoms));
    double edge = 0.0;
    for (const auto &members : fragmentsOf(atoms, graphOf(drawing.orders))) {
        const auto part = embeddedPart(partOf(species, drawing.orders, members));
        const Eigen::Map<const Eigen::Matrix3Xd> points(part.data(), 3, part.size() / 3);
        const double low = points.row(0).minCoeff(), high = points.row(0).maxCoeff();
        for (std::size_t i = 0; i < members.size(); ++i)
            coordinates.segment<3>(3 * members[i]) =
                points.col(static_cast<Eigen::Index>(i)) + Eigen::Vector3d(edge - low, 0, 0);
        edge += high - low + gap / angstromPerBohr;
    }
    return coordinates;
}

} // namespace saddlefit::collection
