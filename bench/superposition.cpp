// Superposition of corresponding points, and the lower bound of the misfit by which most are left
// out, beside Eigen's closed form.
#include "bench.hpp"
#include "superpose/alignment.hpp"

#include <Eigen/Geometry>
#include <cmath>

namespace bench {
namespace {

using Points = Eigen::Matrix3Xd;

constexpr int pairsOfSets = 64;
constexpr double displacement = 0.2;  // angstrom, as of a substituted reaction centre
constexpr double misfitMargin = 1e-5; // relative excess that counts as above the optimum

/// Points as far apart as atoms of a reaction centre: a random chain of bonds.
Points chainOfPoints(int count, std::mt19937 &random) {
    std::normal_distribution<double> normal;
    constexpr double bond = 1.5; // angstrom
    Points points(3, count);
    Eigen::Vector3d at = Eigen::Vector3d::Zero();
    for (int i = 0; i < count; ++i) {
        points.col(i) = at;
        const Eigen::Vector3d step(normal(random), normal(random), normal(random));
        at += bond * step.normalized();
    }
    return points;
}

Points displaced(Points points, std::mt19937 &random) {
    std::normal_distribution<double> normal(0, displacement);
    for (auto &value : points.reshaped())
        value += normal(random);
    const Eigen::Quaterniond turn =
        Eigen::Quaterniond(normal(random), normal(random), normal(random), normal(random))
            .normalized();
    return turn.toRotationMatrix() * points;
}

Mol asMolecule(const Points &points) {
    Graph graph;
    for (Eigen::Index i = 0; i < points.cols(); ++i) {
        graph.elements.push_back(6);
        graph.places.push_back({points(0, i), points(1, i), points(2, i)});
    }
    return molecule(graph);
}

/// Two sets of points, the first of them in its frame.
struct Pair {
    Pair(const Points &reference, const Points &moving)
        : to(reference), from(moving), mol(asMolecule(moving)), map(from.cols()) {
        const Mol referenceMolecule = asMolecule(reference);
        const std::vector<int> all(map.size(), MAP_REQUIRED);
        std::iota(map.begin(), map.end(), 0);
        alignMapStart(referenceMolecule.get(), all.data(), nullptr, &state, params);
        least = leastMisfit();
    }
    double ours() {
        double matrix[16];
        return alignMapMol(mol.get(), map.data(), static_cast<int>(map.size()), matrix, &state,
                           params);
    }
    /// Against a misfit that cannot be beaten, as in a search.
    bool bound() const { return saddlefit::alignmentMayBeat(least / 2, *mol, map, false, state); }
    Eigen::Matrix4d theirs() const { return Eigen::umeyama(from, to, false); }
    double leastMisfit() const {
        const Eigen::Matrix4d best = theirs();
        const Points moved = (best.topLeftCorner<3, 3>() * from).colwise() +
                             Eigen::Vector3d(best.topRightCorner<3, 1>());
        return (moved - to).norm() / static_cast<double>(map.size());
    }

    Points to, from;
    Mol mol;
    std::vector<int> map;
    AlignMapState state{};
    double least = 0;
    double params[ALIGN_PARAMS]{};
};

} // namespace

void addSuperposition() {
    for (const int count : {3, 6, 12}) {
        std::mt19937 random(11);
        std::vector<std::shared_ptr<Pair>> pairs;
        for (int i = 0; i < pairsOfSets; ++i) {
            const Points reference = chainOfPoints(count, random);
            pairs.push_back(std::make_shared<Pair>(reference, displaced(reference, random)));
        }
        const auto above = std::ranges::count_if(pairs, [](const auto &pair) {
            return pair->ours() > pair->leastMisfit() * (1 + misfitMargin);
        });
        const std::string name = "superposition/pairs of atoms/" + std::to_string(count);
        measure(name + "/saddlefit", pairs.size(),
                [pairs] {
                    for (const auto &pair : pairs)
                        benchmark::DoNotOptimize(pair->ours());
                },
                {{"above_optimum", static_cast<double>(above) / pairsOfSets}});
        const auto theirs = [pairs] {
            for (const auto &pair : pairs)
                benchmark::DoNotOptimize(pair->theirs());
        };
        measure(name + "/Eigen umeyama", pairs.size(), theirs);
        if (std::ranges::any_of(pairs, [](const auto &pair) { return pair->bound(); }))
            throw std::runtime_error("the lower bound is below half of the least misfit");
        compare(
            "superposition/lower bound of the misfit/" + std::to_string(count), pairs.size(),
            [pairs] {
                for (const auto &pair : pairs)
                    benchmark::DoNotOptimize(pair->bound());
            },
            "Eigen umeyama", theirs);
    }
}

} // namespace bench
