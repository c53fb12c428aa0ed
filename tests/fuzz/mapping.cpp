/// Mapping, ranking and stereo codes. Well-formed calls are held against the plain search; any
/// others must at least leave what is not theirs alone.
#include "saddlefit/matching.h"

#include "tests/fuzz/bytes.hpp"
#include "tests/plain_mapping.hpp"

#include <cstring>

using namespace saddlefit;
using namespace saddlefit::fuzz;
using namespace saddlefit::test;

namespace {

constexpr int patternAtoms = 7, targetAtoms = 8;

/// Few elements and types, so that atoms often agree. No two bonds join the same atoms: where they
/// do, a partner is listed twice, and lists end at the number of atoms.
OwnedMol wellFormed(Bytes &bytes, int most) {
    constexpr int elements[] = {6, 6, 6, 6, 6, 8, 1, 0, 2, 254};
    constexpr int types[] = {1, 1, 1, 1, 2, 5, 0, 3};
    OwnedMol mol(createMol());
    for (int left = bytes.below(most + 1); left > 0; --left) {
        const int element = bytes.oneOf(elements), place = bytes.byte();
        addAtom(mol.get(), place % 5 - 2.0, place / 5 % 5 - 2.0, place / 25 % 5 - 2.0, element);
    }
    const int n = mol->atomCount;
    for (int left = bytes.below(2 * n + 1); left > 0; --left) {
        const int a = bytes.below(n), b = bytes.below(n);
        const int type = bytes.oneOf(types);
        if (getBondNumber(mol.get(), a, b) < 0) addBond(mol.get(), a, b, type);
    }
    createBondlink(mol.get());
    return mol;
}

Ints codes(Bytes &bytes, int atoms) {
    constexpr int usual[] = {-7, -4, -1, -2, -3, -5, -6};
    const int rest = bytes.oneOf(usual), others = bytes.byte();
    Ints list(static_cast<std::size_t>(atoms), rest);
    for (int &code : list)
        if (others % 3 && bytes.flag()) code = bytes.oneOf(usual);
    return list;
}

void choose(Bytes &bytes, Case &drawn) {
    constexpr int capacities[] = {1, 2, 3, 12, 60};
    drawn.capacity = bytes.oneOf(capacities);
    drawn.chirality = bytes.flag();
    drawn.mirror = bytes.flag();
}

Case wellFormedCase(Bytes &bytes) {
    Case drawn;
    choose(bytes, drawn);
    drawn.A = wellFormed(bytes, patternAtoms);
    drawn.B = wellFormed(bytes, targetAtoms);
    drawn.map = codes(bytes, drawn.A->atomCount);
    drawn.inverse = codes(bytes, drawn.B->atomCount);
    for (int given = bytes.below(4) - 1; given > 0; --given) {
        if (std::min(drawn.A->atomCount, drawn.B->atomCount) == 0) break;
        const int own = bytes.below(drawn.A->atomCount), far = bytes.below(drawn.B->atomCount);
        if (at(drawn.map, own) >= 0 || at(drawn.inverse, far) >= 0) continue;
        at(drawn.map, own) = far;
        at(drawn.inverse, far) = own;
    }
    return drawn;
}

/// Bonds that changed since they were listed, atoms without a list, values that mean nothing.
Case hostileCase(Bytes &bytes) {
    Case drawn;
    choose(bytes, drawn);
    const auto type = [](Bytes &some) { return some.mostlyBelow(10); };
    for (OwnedMol *mol : {&drawn.A, &drawn.B}) {
        *mol = atoms(bytes, patternAtoms);
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

/// As the manual has it, whatever way the search takes.
void requireMapping(const Case &given, const Ints &solution) {
    Ints used(atomsOf(*given.B).size(), 0);
    for (std::size_t a = 0; a < solution.size(); ++a) {
        const int code = given.map[a], partner = solution[a];
        if (partner < 0) {
            require(code < 0 && (code > -5 || code < -7), "required atoms have a partner");
            continue;
        }
        require(code < -1 || partner == code, "partners stay, and atoms to be skipped get none");
        ++at(used, partner);
        const int own = given.A->atoms[a].element, far = given.B->atoms[partner].element;
        if (code == -7 || code == -4) require(own == far, "plain codes ask for the same element");
    }
    const bool full = std::ranges::all_of(used, [](int times) { return times > 0; });
    require(full || std::ranges::all_of(used, [](int times) { return times < 2; }),
            "a mapping is one-to-one while there is a spare atom");
    for (const Bond *bond : bondsOf(*given.A)) {
        const int a = bond->atom1, b = bond->atom2;
        if (a == b || full || (at(given.map, a) >= 0 && at(given.map, b) >= 0)) continue;
        const int farA = at(solution, a), farB = at(solution, b);
        if (farA >= 0 && farB >= 0)
            require(getBond(given.B.get(), farA, farB), "bonds lie on bonds");
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

void mapWellFormed(Bytes &bytes) {
    Case given = wellFormedCase(bytes);
    Store expected = given.emptyStore();
    PlainSearch(given, expected).run();
    const Store found = mapped(given);
    require(found == expected, "the search finds what the plain one finds, in its order");
    for (int i = 0; i < found.count; ++i)
        requireMapping(given, at(found.solutions, i));
    requireSingle(given, found);
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
    const int kind = bytes.byte();
    if (kind % 4 < 2) {
        mapWellFormed(bytes);
    } else if (kind % 4 == 2) {
        mapHostile(bytes);
    } else {
        const OwnedMol mol = atoms(bytes, 12);
        addBonds(bytes, *mol, [](Bytes &some) { return some.mostlyBelow(10); });
        requireRanks(bytes, *mol);
        requireStereo(*mol);
    }
    return 0;
}
