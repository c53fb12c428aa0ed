#include "host/reactions/joined_molecules.hpp"

#include "host/structures/reader.hpp"

#include <algorithm>
#include <optional>

namespace saddlefit::host {

namespace {

// Far from all others, lest bonds be found between them.
void shiftBehind(const Structure &side, Structure &molecule) {
    constexpr double gap = 10.0; // angstrom
    const auto byX = [](const StructureAtom &a, const StructureAtom &b) {
        return a.position.x < b.position.x;
    };
    if (side.atoms.empty() || molecule.atoms.empty()) return;
    const double edge = std::max_element(side.atoms.begin(), side.atoms.end(), byX)->position.x;
    const double begin =
        std::min_element(molecule.atoms.begin(), molecule.atoms.end(), byX)->position.x;
    for (auto &atom : molecule.atoms)
        atom.position.x += edge + gap - begin;
}

void addTo(std::optional<int> &sum, const std::optional<int> &value) {
    if (value) sum = sum.value_or(0) + *value;
}

// Per atom, where either has any.
void joinNumbers(std::vector<int> &numbers, std::size_t first, const std::vector<int> &more,
                 std::size_t count) {
    if (numbers.empty() && more.empty()) return;
    numbers.resize(first);
    numbers.insert(numbers.end(), more.begin(), more.end());
    numbers.resize(count);
}

void append(Structure &side, const Structure &molecule) {
    const auto atoms = side.atoms.size();
    const int first = static_cast<int>(atoms);
    side.title += (side.title.empty() || molecule.title.empty() ? "" : " + ") + molecule.title;
    side.hasIsotopes = side.hasIsotopes || molecule.hasIsotopes;
    side.namesBonds = side.namesBonds && molecule.namesBonds;
    addTo(side.charge, molecule.charge);
    addTo(side.unpaired, molecule.unpaired);
    side.atoms.insert(side.atoms.end(), molecule.atoms.begin(), molecule.atoms.end());
    for (const auto &[a, b, type] : molecule.bonds)
        side.bonds.push_back({a + first, b + first, type});
    for (const auto &ring : molecule.aromaticRings) {
        auto &moved = side.aromaticRings.emplace_back();
        for (const auto &[a, b] : ring)
            moved.emplace_back(a + first, b + first);
    }
    joinNumbers(side.mapNumbers, atoms, molecule.mapNumbers, side.atoms.size());
    joinNumbers(side.radicals, atoms, molecule.radicals, side.atoms.size());
}

} // namespace

Structure joined(const std::vector<Structure> &molecules) {
    Structure side;
    for (auto molecule : molecules) {
        shiftBehind(side, molecule);
        append(side, molecule);
    }
    return side;
}

Structure joinedMolecules(const std::vector<std::string> &paths, const std::string &format) {
    std::vector<Structure> molecules;
    std::string files;
    for (const auto &path : paths) {
        files += (files.empty() ? "" : " + ") + path;
        for (const auto &record : readRecords(path, BondSource::formatOnly, format))
            molecules.push_back(structureOf(record));
    }
    auto side = joined(molecules);
    side.origin.file = files;
    return side;
}

} // namespace saddlefit::host
