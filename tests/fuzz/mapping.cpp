/// Mapping, ranking and stereo codes of molecules that are not sound: what is not theirs stays as
/// it is. What mapping finds in sound ones is held against a plain search elsewhere.
#include "saddlefit/matching.h"

#include "tests/fuzz/bytes.hpp"
#include "tests/plain_mapping.hpp"

#include <cstring>

using namespace saddlefit;
using namespace saddlefit::fuzz;
using namespace saddlefit::test;

namespace {

constexpr int mostAtoms = 7;

void choose(Bytes &bytes, Case &drawn) {
    constexpr int capacities[] = {1, 2, 3, 12, 60};
    drawn.capacity = bytes.oneOf(capacities);
    drawn.chirality = bytes.flag();
    drawn.mirror = bytes.flag();
}

/// Bonds that changed since they were listed, atoms without a list, values that mean nothing.
Case hostileCase(Bytes &bytes) {
    Case drawn;
    choose(bytes, drawn);
    const auto type = [](Bytes &some) { return some.mostlyBelow(10); };
    for (OwnedMol *mol : {&drawn.A, &drawn.B}) {
        *mol = atoms(bytes, mostAtoms);
        if (bytes.flag()) createBondlink(mol->get());
        addBonds(bytes, **mol, type);
        if (bytes.flag()) createBondlink(mol->get());
        for (int stale = bytes.below(3); stale > 0 && (*mol)->bondCount > 0; --stale) {
            Bond &bond = *(*mol)->bonds[bytes.below((*mol)->bondCount)];
            bond.atom1 = bytes.mostlyBelow((*mol)->atomCount);
            bond.type = type(bytes);
        }
    }
    const auto value = [&](int atoms) {
        const int choice = bytes.byte();
        return choice < 200 ? -1 - choice % 9 : bytes.mostlyBelow(atoms);
    };
    for (int a = 0; a < drawn.A->atomCount; ++a)
        drawn.map.push_back(value(drawn.B->atomCount));
    for (int b = 0; b < drawn.B->atomCount; ++b)
        drawn.inverse.push_back(value(drawn.A->atomCount));
    return drawn;
}

void requireCounts(const Case &given, const Store &found) {
    require(found.count >= 0 && found.count <= given.capacity, "no more mappings than room");
    require(found.map == given.map && found.inverse == given.inverse, "maps are given back");
    for (int i = 0; i < found.count; ++i) {
        const Ints &solution = at(found.solutions, i);
        const auto mapped = std::ranges::count_if(solution, [](int value) { return value >= 0; });
        require(std::abs(at(found.scores, i)) == mapped, "scores count mapped atoms");
        require(mapped == found.depth, "all recorded mappings are of the same size");
    }
}

void requireSingle(Case &given, const Store &found) {
    Ints map = given.map, inverse = given.inverse;
    const int score = mapSingleSub(given.A.get(), given.B.get(), map.data(), inverse.data(),
                                   given.chirality, given.mirror);
    require(inverse == given.inverse, "the inverse is given back");
    require(std::abs(score) == std::max(found.depth, 0), "one mapping is as large as several");
    if (score == 0) require(map == given.map, "without a mapping the map stays");
    if (score != 0 && found.count > 0 && found.scores[0] > 0 && score > 0)
        require(map == found.solutions[0], "one mapping is the first of several");
}

void mapHostile(Bytes &bytes) {
    Case given = hostileCase(bytes);
    const std::vector<Atom> before(atomsOf(*given.B).begin(), atomsOf(*given.B).end());
    const Store found = mapped(given);
    requireCounts(given, found);
    for (std::size_t b = 0; b < before.size(); ++b)
        require(samePlace(before[b], given.B->atoms[b]), "the target is mirrored back");
    requireSingle(given, found);
}

void requireRanks(Bytes &bytes, Molecule &mol) {
    const int n = bytes.below(6), root = bytes.mostlyBelow(mol.atomCount);
    Ints given, excluded;
    for (int i = 0; i < n; ++i)
        given.push_back(bytes.mostlyBelow(mol.atomCount));
    for (int i = bytes.below(4); i > 0; --i)
        excluded.push_back(bytes.mostlyBelow(mol.atomCount));
    std::vector<std::vector<unsigned char>> sets(
        given.size(), std::vector<unsigned char>(atomsOf(mol).size(), 77));
    std::vector<unsigned char *> rows;
    for (auto &set : sets)
        rows.push_back(set.data());
    Ints ranked = given;
    const int ranks =
        cmpAtoms(&mol, ranked.data(), n, excluded.data(), static_cast<int>(excluded.size()), root,
                 bytes.flag() ? rows.data() : nullptr);
    require(ranks >= std::min(n, 1) && ranks <= n, "there are no more ranks than atoms");
    require(std::ranges::is_permutation(ranked, given), "ranking reorders the atoms");
    const bool touched = n > 1 && mol.atomCount > 0 && sets[0][0] != 77;
    for (std::size_t i = 0; touched && i < sets.size(); ++i) {
        require(std::ranges::all_of(sets[i], [](auto mark) { return mark <= 1; }),
                "each atom is walked past or not");
        for (const int atom : excluded)
            if (hasAtom(mol, atom)) require(sets[i][static_cast<std::size_t>(atom)], "excluded");
        if (hasAtom(mol, root)) require(sets[i][static_cast<std::size_t>(root)], "the root too");
    }
}

void requireStereo(Molecule &mol) {
    createRS(&mol);
    Ints before;
    for (const Atom &atom : atomsOf(mol)) {
        require(atom.rs >= 0 && atom.rs <= 2, "a stereo code is 0, R or S");
        before.push_back(atom.rs);
    }
    mirrorRS(&mol);
    for (int atom = 0; atom < mol.atomCount; ++atom) {
        const int code = at(before, atom), mirrored = code ? 3 - code : 0;
        require(mol.atoms[atom].rs == mirrored, "a mirror image has the other codes");
        require(getRS(&mol, atom) == mirrored, "also by its coordinates");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Bytes bytes(data, size);
    if (bytes.byte() % 4 < 3) {
        mapHostile(bytes);
    } else {
        const OwnedMol mol = atoms(bytes, 12);
        addBonds(bytes, *mol, [](Bytes &some) { return some.mostlyBelow(10); });
        requireRanks(bytes, *mol);
        requireStereo(*mol);
    }
    return 0;
}
