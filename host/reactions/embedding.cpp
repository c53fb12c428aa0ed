#include "host/reactions/embedding.hpp"

#include "host/reactions/distance_bounds.hpp"
#include "host/structures/babel.hpp"
#include "host/system/error.hpp"

#include <algorithm>
#include <cmath>

namespace saddlefit::host {

namespace {

// The builder takes milliseconds, or it hangs.
constexpr std::chrono::milliseconds builderTime{3000};

constexpr int mostSeeds = 64;
constexpr int coarseSteps = 500, fineSteps = 500;
constexpr double energyLimit = 1e-5;
constexpr double holdFactor = 1000; // in the force field's units

babel::Molecule messageOf(const Structure &side, const std::vector<Position> &positions,
                          const StereoMarks &marks) {
    babel::Molecule message;
    for (std::size_t i = 0; i < side.atoms.size(); ++i) {
        auto &atom = message.atoms.emplace_back();
        atom.element = side.atoms[i].element;
        atom.charge = side.atoms[i].charge;
        if (!positions.empty()) atom.position = {positions[i].x, positions[i].y, positions[i].z};
    }
    for (const auto &bond : side.bonds) {
        const bool aromatic = bond.type == aromaticType;
        message.bonds.push_back({bond.atom1, bond.atom2, aromatic ? 1 : bond.type, aromatic});
    }
    message.centres = marks.centres;
    message.doubleBonds = marks.doubleBonds;
    return message;
}

std::vector<Position> positionsFrom(const babel::Positions &points) {
    std::vector<Position> positions;
    for (const auto &[x, y, z] : points)
        positions.push_back({x, y, z});
    return positions;
}

bool areFinite(const std::vector<Position> &positions) {
    return std::all_of(positions.begin(), positions.end(), [](const Position &at) {
        return std::isfinite(at.x) && std::isfinite(at.y) && std::isfinite(at.z);
    });
}

bool isAbsent(const Error &error) {
    return error.kind() == ErrorKind::noProgram;
}

/// Empty where the builder finds nothing.
std::vector<Position> built(const Structure &molecule, const StereoMarks &marks) {
    try {
        return positionsFrom(sharedBabel().embed({messageOf(molecule, {}, marks)}, builderTime));
    } catch (const Error &error) {
        if (isAbsent(error)) throw;
        return {};
    }
}

std::vector<Position> byDistances(const Structure &molecule, const StereoMarks &marks) {
    const auto bounds = distanceBounds(molecule, marks);
    for (unsigned seed = 0; seed < mostSeeds; ++seed) {
        auto positions = embeddedWithin(bounds, seed);
        if (unkeptMarks(marks, positions) > 0) continue;
        const auto finer = forceFieldGeometry(molecule, positions, {}, Force::fine);
        return finer && unkeptMarks(marks, *finer) == 0 ? *finer : positions;
    }
    throw Error("no geometry with the written handedness was found; give the molecules with "
                "coordinates")
        .at(molecule.origin);
}

} // namespace

std::vector<Position> embedded(const Structure &molecule, const StereoMarks &marks) {
    auto positions = built(molecule, marks);
    const bool isWhole = positions.size() == molecule.atoms.size() && areFinite(positions);
    if (isWhole && unkeptMarks(marks, positions) == 0) return positions;
    return byDistances(molecule, marks);
}

std::optional<std::vector<Position>> forceFieldGeometry(const Structure &side,
                                                        const std::vector<Position> &start,
                                                        const SpecialDistances &held, Force force) {
    babel::Relax request;
    request.molecule = messageOf(side, start, {});
    for (const auto &[pair, wish] : held)
        request.held.push_back({{pair.first, pair.second, -1, -1}, wish.distance});
    request.holdFactor = holdFactor;
    request.mostSteps = force == Force::coarse ? coarseSteps : fineSteps;
    request.energyLimit = energyLimit;
    std::vector<std::string> fields{"UFF"};
    if (force == Force::fine) fields.insert(fields.begin(), "MMFF94");
    for (const auto &field : fields) {
        request.forceField = field;
        try {
            auto positions = positionsFrom(sharedBabel().relax(request));
            if (areFinite(positions)) return positions;
        } catch (const Error &error) {
            if (isAbsent(error)) throw;
        }
    }
    return std::nullopt;
}

} // namespace saddlefit::host
