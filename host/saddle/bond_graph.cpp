#include "host/saddle/bond_graph.hpp"

#include "host/structures/element_data.hpp"
#include "host/structures/units.hpp"

#include <algorithm>
#include <iterator>

namespace saddlefit::host {

namespace {

constexpr double longestBond = 1.25;                       // of the sum of radii
constexpr double longestHydrogen = 0.95 / angstromPerBohr; // between two of them

Eigen::Vector3d between(const Eigen::VectorXd &coordinates, const AtomPair &pair) {
    return coordinates.segment<3>(3 * pair.second) - coordinates.segment<3>(3 * pair.first);
}

void addLengthGradient(Eigen::VectorXd &sum, const Eigen::VectorXd &coordinates,
                       const AtomPair &pair, double factor) {
    const Eigen::Vector3d unit = between(coordinates, pair).normalized();
    sum.segment<3>(3 * pair.first) -= factor * unit;
    sum.segment<3>(3 * pair.second) += factor * unit;
}

} // namespace

BondGraph bondGraph(const Species &species, const Eigen::VectorXd &coordinates) {
    BondGraph graph;
    const int atoms = static_cast<int>(species.elements.size());
    for (int a = 0; a < atoms; ++a) {
        for (int b = a + 1; b < atoms; ++b) {
            const int one = species.elements[static_cast<std::size_t>(a)];
            const int other = species.elements[static_cast<std::size_t>(b)];
            const double longest =
                one == 1 && other == 1
                    ? longestHydrogen
                    : longestBond * (covalentRadius(one) + covalentRadius(other));
            if (between(coordinates, {a, b}).norm() < longest) graph.insert({a, b});
        }
    }
    return graph;
}

BondsChanged bondsChanged(const BondGraph &reactant, const BondGraph &product) {
    BondsChanged bonds;
    std::set_difference(product.begin(), product.end(), reactant.begin(), reactant.end(),
                        std::back_inserter(bonds.made));
    std::set_difference(reactant.begin(), reactant.end(), product.begin(), product.end(),
                        std::back_inserter(bonds.broken));
    return bonds;
}

double progressOf(const BondsChanged &bonds, const Eigen::VectorXd &coordinates) {
    double progress = 0.0;
    for (const auto &pair : bonds.broken)
        progress += between(coordinates, pair).norm();
    for (const auto &pair : bonds.made)
        progress -= between(coordinates, pair).norm();
    return progress;
}

Eigen::VectorXd progressDirection(const BondsChanged &bonds, const Eigen::VectorXd &coordinates) {
    Eigen::VectorXd sum = Eigen::VectorXd::Zero(coordinates.size());
    for (const auto &pair : bonds.broken)
        addLengthGradient(sum, coordinates, pair, 1.0);
    for (const auto &pair : bonds.made)
        addLengthGradient(sum, coordinates, pair, -1.0);
    const double length = sum.norm();
    if (length > 1e-8) return sum / length;
    return Eigen::VectorXd::Zero(sum.size());
}

double shareInBonds(const BondsChanged &bonds, const Eigen::VectorXd &coordinates,
                    const Eigen::VectorXd &displacement) {
    if (bonds.none()) return 0.0;
    auto pairs = bonds.made;
    pairs.insert(pairs.end(), bonds.broken.begin(), bonds.broken.end());
    Eigen::MatrixXd gradients =
        Eigen::MatrixXd::Zero(coordinates.size(), static_cast<Eigen::Index>(pairs.size()));
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        Eigen::VectorXd column = Eigen::VectorXd::Zero(coordinates.size());
        addLengthGradient(column, coordinates, pairs[i], 1.0);
        gradients.col(static_cast<Eigen::Index>(i)) = column;
    }
    const Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(gradients);
    const Eigen::VectorXd turned = qr.householderQ().transpose() * displacement;
    return turned.head(qr.rank()).norm();
}

} // namespace saddlefit::host
