#include "saddlefit/bonding.h"
#include "saddlefit/database.h"
#include "saddlefit/host.h"
#include "saddlefit/matching.h"
#include "saddlefit/reaction.h"
#include "saddlefit/superpose.h"

#include "tests/molecules.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <random>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

using Ints = std::vector<int>;
using Reals = std::vector<double>;

// ---- codes and transitions

/// A molecule's constraints in short: "1-0-2 90.0000/2" is an angle of level 2.
std::string constraints(const Molecule &mol, bool withLevel = true) {
    std::string text;
    for (const auto &[a, b, c, d, value, parameter, level] : constraintsOf(mol)) {
        text += (text.empty() ? "" : ", ") + std::to_string(a) + '-' + std::to_string(b);
        if (c != -1) text += '-' + std::to_string(c);
        if (d != -1) text += '-' + std::to_string(d);
        char number[32];
        std::snprintf(number, sizeof number, " %.4f", value);
        text += number + (withLevel ? '/' + std::to_string(level) : "");
        EXPECT_EQ(parameter, 0.0);
    }
    return text;
}

Ints codeOf(const std::vector<At> &atoms, const std::vector<Transition> &transitions) {
    const OwnedMol mol = molecule(atoms, "", transitions);
    const OwnedBlock<int> code(getTransitionCode(mol.get()));
    if (!code) return {-99};
    Ints entries;
    for (const int *entry = code.get(); *entry; ++entry)
        entries.push_back(*entry);
    return entries;
}

TEST(TransitionCodes, DependOnElementsAlone) {
    const std::vector<At> atoms = {{6}, {8}, {7}, {6}, {1}};
    const struct {
        const char *what;
        std::vector<Transition> transitions;
        Ints code;
    } rows[] = {
        {"none", {}, {-99}},
        {"the larger kind goes second", {{2, 0, 1, 0}}, {6, 7, 6, 8}},
        {"half a bond is none", {{0, 3, 1, -1}}, {6, 6}},
        {"sorted", {{0, 4, 3, 1}, {0, 1, 4, 2}}, {1, 6, 6, 8, 1, 7, 6, 8}},
        {"an empty half goes first", {{0, 4, -1, -1}, {0, 1, 0, 2}}, {6, 7, 1, 6, 6, 8}},
        {"missing atoms", {{0, 5, -2, 1}, {INT_MAX, INT_MIN, 0, 1}}, {6, 8}},
        {"no atom at all", {{-1, 9, 9, -1}}, {}},
    };
    for (const auto &[what, transitions, code] : rows)
        EXPECT_EQ(codeOf(atoms, transitions), code) << what;
}

TEST(TransitionTexts, AreReadInGroupsOfFour) {
    const OwnedMol mol = molecule({{6}, {8}, {6}, {6}, {1}}, "", {{0, 1, 0, 1}});
    setLabels(*mol, {"C1", "O2", "C3", "C1"}); // the last atom has no label
    const struct {
        const char *text;
        int result;
        std::vector<Ints> transitions;
    } rows[] = {
        {"C1 O2 x C3", 1, {{0, 1, -1, 2}}},
        {"C1 O2 C3", 0, {}},
        {nullptr, 1, {}},
        {" \t  ", 1, {}},
        {"\tC3  \t O2 - - C1 C3 c3 C", 1, {{2, 1, -1, -1}, {0, 2, -1, -1}}},
        {"C1 O2 - - C1", 0, {{0, 1, -1, -1}}},
        {"C1\nO2 - - -", 1, {{-1, -1, -1, -1}}},
    };
    for (const auto &[text, result, transitions] : rows) {
        SCOPED_TRACE(text ? text : "NULL");
        EXPECT_EQ(genTransition(mol.get(), text), result);
        std::vector<Ints> read;
        for (const auto &[breakA, breakB, formA, formB] : transitionsOf(*mol))
            read.push_back({breakA, breakB, formA, formB});
        EXPECT_EQ(read, transitions);
    }
}

TEST(TransitionMarks, CoverAtomsThatAreNamed) {
    const OwnedMol mol =
        molecule(std::vector<At>(6, {6}), "", {{0, 9, -1, 3}, {INT_MIN, 5, 5, INT_MAX}});
    Ints marks(7, 99);
    mapTransition(mol.get(), marks.data(), -7, -4);
    EXPECT_EQ(marks, Ints({-7, -4, -4, -7, -4, -7, 99}));
}

TEST(ApplyingTransitions, ChangesOrdersAndSetsHalfWayLengths) {
    const Transition falls = {1, 0, -1, -1}, rises = {-1, -1, 1, 0};
    const struct {
        Transition transition;
        int type, result;
        const char *length; // of C-C: 1.531 times the mean of two factors
    } rows[] = {{falls, 1, 0, "1.5310"}, {falls, 2, 5, "1.4315"}, {falls, 3, 2, "1.2631"},
                {falls, 4, 3, "1.1559"}, {falls, 5, 1, "1.4774"}, {falls, 0, 0, "1.5310"},
                {falls, 9, 0, "1.5310"}, {rises, 1, 5, "1.4315"}, {rises, 2, 2, "1.2631"},
                {rises, 3, 3, "1.1559"}, {rises, 4, 4, "1.2707"}, {rises, 5, 2, "1.3779"},
                {rises, 0, 0, "1.5310"}, {rises, -3, 0, "1.5310"}};
    for (const auto &[transition, type, result, length] : rows) {
        const OwnedMol mol = molecule({{6}, {6}}, "0 1 " + std::to_string(type), {transition});
        EXPECT_EQ(applyTransition(mol.get()), 1);
        EXPECT_EQ(writtenBonds(*mol), "0 1 " + std::to_string(result));
        EXPECT_EQ(constraints(*mol, false), std::string("0-1 ") + length);
    }
}

TEST(ApplyingTransitions, ActsHalfByHalfAndOneAfterAnother) {
    const OwnedMol mol = molecule({{6}, {6}, {8}}, "0 1 2",
                                  {{0, 1, 2, 0},    // appends a bond
                                   {1, 0, -1, 2},   // falls once more
                                   {1, 2, 3, 0},    // no such bond, no such atom
                                   {0, -1, 1, 1}}); // an atom with itself
    C_setConstraint(mol.get(), 5, 0, 1, 2, -1, 90, 1);
    createBondlink(mol.get());
    EXPECT_EQ(applyTransition(mol.get()), 1);
    EXPECT_EQ(writtenBonds(*mol), "0 1 1, 2 0 0, 1 1 0");
    EXPECT_EQ(constraints(*mol, false), "0-1 1.4315, 2-0 1.4100, 0-1 1.4774, 1-1 1.5310");
    EXPECT_EQ(listOf(*mol, 0), Ints({1, 2})) << "rebuilt, with the new bond";
    EXPECT_EQ(listOf(*mol, 1), Ints({0})) << "and without the self-bond";
    mol->transitionCount = 0;
    applyTransition(mol.get());
    EXPECT_EQ(constraints(*mol), "");
    EXPECT_EQ(mol->bondCount, 3);
}

// ---- constraints

TEST(Constraining, CoversBondsPairsAndPathsInOrderAndEachSetOfAtomsOnce) {
    const OwnedMol chain = molecule(std::vector<At>(5, {6}), "0 1 1, 1 2 1, 2 3 1, 3 4 1");
    // Measured in the partners, which stand in reverse order.
    const OwnedMol ref = molecule({{6, 2, 0, 1}, {6, 2, 0, 0}, {6, 0, 0, 0}, {6, 0, 1, 0}});
    Ints map = {3, 2, 1, 0, -1};
    EXPECT_EQ(constrainSub(chain.get(), ref.get(), map.data(), 1), 1);
    EXPECT_EQ(constraints(*chain),
              "0-1 1.0000/1, 0-2 2.2361/2, 1-2 2.0000/1, 0-3 2.4495/4, 1-3 2.2361/2, 2-3 1.0000/1");
    constrainSub(chain.get(), ref.get(), map.data(), 7);
    EXPECT_EQ(constraints(*chain),
              "0-1 1.0000/1, 0-2 2.2361/2, 0-1-2 90.0000/2, 1-2 2.0000/1, 0-3 2.4495/4, 3-2-1-0 "
              "90.0000/4, 1-3 2.2361/2, 1-2-3 90.0000/2, 2-3 1.0000/1");
    EXPECT_EQ(getConstraint(chain.get(), 1, 3, 0, 2), &chain->constraints[5]);
    EXPECT_EQ(getConstraint(chain.get(), -1, 2, 3, 1), &chain->constraints[7]);
    EXPECT_EQ(getConstraint(chain.get(), -1, 3, -1, 2), &chain->constraints[8]);
    EXPECT_EQ(getConstraint(chain.get(), 1, 1, 3, 2), nullptr);

    map = {3, 2, -7, 99, 0}; // 2 and 3 have no partner; 3 and 4 are bonded
    constrainSub(chain.get(), ref.get(), map.data(), 7);
    EXPECT_EQ(constraints(*chain), "0-1 1.0000/1");
    constrainSub(chain.get(), ref.get(), map.data(), 0);
    EXPECT_EQ(getConstraint(chain.get(), 0, 1, -1, -1), nullptr);

    const OwnedMol ring = molecule({{6}, {6, 1}, {6, 0, 1}}, "0 1 1, 1 2 1, 0 2 1");
    map = {0, 1, 2};
    constrainSub(ring.get(), ring.get(), map.data(), 7);
    EXPECT_EQ(constraints(*ring), "0-1 1.0000/1, 1-2 1.4142/2, 1-0-2 90.0000/2, 0-2 1.0000/1");
}

TEST(Measuring, CentreIsTakenOffItsAtoms) {
    const OwnedMol mol = molecule({{6, 1}, {6, 0, 3, 1}, {6, 2, 0, 0}, {6, 4, 3, 5}});
    double centre[3];
    calcCenter(mol->atoms + 1, 3, centre);
    EXPECT_EQ(Reals({centre[0], centre[1], centre[2]}), Reals({2, 2, 2}));
    expectAt(mol->atoms[0], 1, 0, 0, 0);
    expectAt(mol->atoms[1], -2, 1, -1, 0);
    expectAt(mol->atoms[3], 2, 1, 3, 0);
    calcCenter(mol->atoms, 0, centre);
    EXPECT_TRUE(std::isnan(centre[0] + centre[1] + centre[2]) && mol->atoms[0].x == 1);
}

// ---- searching: CHFBr(OH) loses its bromine. Coordinates are exact in single precision.

const std::vector<At> methane = {
    {6, 0, 0, 0}, {35, 2, 0, 0}, {9, 0, 1.5, 0}, {8, 0, 0, 1.5}, {1, -0.625, -0.625, -0.625}};
const std::string methaneBonds = "0 1 0, 0 2 1, 0 3 1, 0 4 1";
const std::vector<Transition> bromineLeaves = {{0, 1, -1, -1}};

/// Structures to be stored, without places.
const struct Kind {
    const char *name;
    Ints elements;
    std::string bonds;
} kinds[] = {
    {"exact", {6, 35, 9, 8, 1}, methaneBonds},
    {"super", {6, 35, 9, 8, 1, 6}, methaneBonds + ", 3 5 1"},
    {"extra", {6, 35, 9, 8, 1, 17}, methaneBonds + ", 0 5 1"},
    {"none", {6, 35, 9, 1, 1}, methaneBonds},
    {"sub", {6, 35, 9, 8, 1}, "0 1 0, 0 2 1, 0 3 1, 3 4 1"},           // the H on O
    {"far", {6, 35, 9, 8, 1, 6}, "0 1 0, 3 2 1, 0 3 1, 0 4 1, 3 5 1"}, // the F on O
    {"bare", {6, 35, 1, 1, 1}, methaneBonds},
    {"hostile", {6, 35, 9, 8, 300}, methaneBonds},
    {"other", {6, 17, 9, 8, 1}, methaneBonds},
};

/// One of them by its name, which may go on with the length of its C-Br bond.
OwnedMol storedStructure(const std::string &name) {
    const Kind *kind =
        std::ranges::find_if(kinds, [&](const Kind &k) { return name.starts_with(k.name); });
    std::vector<At> atoms = methane;
    atoms.push_back({6, -1, 1, 2});
    atoms.resize(kind->elements.size());
    for (std::size_t i = 0; i < atoms.size(); ++i)
        atoms[i].element = kind->elements[i];
    if (name != kind->name) atoms[1].x = std::stod(name.substr(std::strlen(kind->name)));
    return molecule(atoms, kind->bonds, bromineLeaves);
}

void store(const TemporaryFile &file, const std::string &name, Molecule &mol) {
    const OwnedBlock<int> code(getTransitionCode(&mol));
    ASSERT_EQ(insertDB(file.path(), strdup(name.c_str()), code.get(), &mol), 1);
}

/// A database of such structures.
struct Stored : TemporaryFile {
    explicit Stored(const std::vector<std::string> &names) {
        for (const std::string &name : names)
            store(*this, name, *storedStructure(name));
    }
};

/// The molecule asked for: turned and moved, or its mirror image.
OwnedMol asked(double length = 2, bool mirrored = false) {
    OwnedMol mol = molecule(methane, methaneBonds, bromineLeaves);
    setLabels(*mol, {"C1", "Br2", "F3", "O4"});
    mol->atoms[1].x = length;
    for (Atom &atom : atomsOf(*mol)) {
        const double x = atom.x, y = atom.y, z = mirrored ? -atom.z : atom.z;
        atom.x = z + 5;
        atom.y = x - 3;
        atom.z = y + 1;
    }
    return mol;
}

struct Found {
    int result = -99;
    OwnedMol match;
    OwnedBlock<int> map;
    std::string output;

    Ints partners(int count) const { return map ? Ints(map.get(), map.get() + count) : Ints(); }
};

Found search(const char *path, Molecule &mol) {
    Found found;
    Molecule *match = nullptr;
    int *map = nullptr;
    found.output = printed([&] { found.result = mapDB(path, &mol, &match, &map); });
    found.match.reset(match);
    found.map.reset(map);
    return found;
}

/// The lines that tell of a candidate.
std::string starts(const char *kind, int score, int weight) {
    return std::string("Starting with ") + kind + " set, " + std::to_string(score) + " score, " +
           std::to_string(weight) + " weight\n";
}
std::string ends(const char *kind, int score, int weight, const char *labels = "C1 Br2 F3 O4 \n") {
    return "Ending" + starts(kind, score, weight).substr(std::strlen("Starting")) + labels;
}

const std::string startExact = starts("exact", 4, 8), startFar = starts("super", 4, 6);
const std::string super = starts("super", 4, 8) + ends("super", 4, 8);
const std::string sub = startExact + ends("sub", 4, 8);
const std::string extra = starts("super", 4, 10) + ends("super", 4, 7);
const std::string without = starts("none", 3, 3) + ends("none", 3, 3, "C1 Br2 F3 \n");
const std::string far = startFar + ends("none", 3, 3, "C1 Br2 O4 \n");

TEST(Searching, PrefersClassThenWeightThenMisfitThenFileOrder) {
    const struct {
        std::vector<std::string> stored;
        std::string output, name; // name of the molecule afterwards
    } rows[] = {
        {{"none", "sub", "super", "exact"}, without + sub + super + startExact, "exact (Exact)"},
        {{"exact", "exact 3"}, startExact, "exact (Exact)"},
        {{"super", "sub", "none", "far", "extra"}, super + startExact + startFar + extra, "super"},
        {{"sub 3", "extra"}, sub + extra, "extra"},
        {{"extra", "super 3"}, extra + super, "super 3"},
        {{"far"}, far, "far"},
        {{"none", "bare"}, without + starts("none", 2, -2), "none"},
        {{"none", "far 3"}, without + far, "none"},
        {{"super 2.5", "super 2.25", "super 2.250"}, super + super + super, "super 2.25"},
        {{"other", "super 2.5", "hostile"}, super, "super 2.5"},
    };
    for (const auto &[stored, output, name] : rows) {
        SCOPED_TRACE(output);
        const Stored file(stored);
        const OwnedMol mol = asked();
        const Found found = search(file.path(), *mol);
        EXPECT_EQ(found.result, 1);
        EXPECT_EQ(found.output, output);
        EXPECT_STREQ(mol->name, name.c_str());
        const bool exact = name.ends_with(" (Exact)");
        EXPECT_EQ(found.match == nullptr, exact);
        EXPECT_EQ(found.partners(5), exact ? Ints() : Ints({0, 1, -1, -1, -1}));
        if (!exact) {
            EXPECT_STREQ(found.match->name, name.c_str());
        }
    }
}

TEST(Searching, MatchIsGivenInTheHandednessThatMapped) {
    const Stored exact({"exact 2.25"});
    for (const bool mirrored : {false, true}) {
        SCOPED_TRACE(mirrored);
        const double sign = mirrored ? -1 : 1;
        const OwnedMol same = asked(2, mirrored), mol = asked(2, mirrored);
        std::swap(same->atoms[2], same->atoms[3]);
        std::swap(same->bonds[1]->atom2, same->bonds[2]->atom2);
        EXPECT_EQ(search(exact.path(), *same).result, 1);
        expectAt(same->atoms[1], sign * 2.25, 0, 0, 0);
        expectAt(same->atoms[2], 0, 0, 1.5, 0);
        expectAt(same->atoms[4], sign * -0.625, -0.625, -0.625, 0);

        const Stored partial({"super 2.5"});
        const Found found = search(partial.path(), *mol);
        ASSERT_NE(found.match, nullptr);
        const Atom *atoms = found.match->atoms;
        EXPECT_EQ(calcChirality(atoms, atoms + 1, atoms + 2, atoms + 3, atoms + 4), -sign)
            << "minus the product of three positive legs, or plus";
        expectAt(mol->atoms[0], 0, 0, 0, 1e-12);
        expectAt(mol->atoms[1], 2, 0, 0, 1e-12);
        expectAt(atoms[0], -0.25, 0, 0, 1e-5); // 2.5 centred on 2
        expectAt(atoms[1], 2.25, 0, 0, 1e-5);
    }
}

TEST(Searching, BestOfSeveralMappingsIsHandedBack) {
    // CBr2 whose bonds, 2 and 2.75 long, are stored the other way round; a fluorine makes it super.
    const std::vector<Transition> bothLeave = {{0, 1, -1, -1}, {0, 2, -1, -1}};
    const TemporaryFile file;
    store(
        file, "swapped",
        *molecule({{6}, {35, 2.75}, {35, 0, 2}, {9, 0, 0, 1.5}}, "0 1 0, 0 2 0, 0 3 1", bothLeave));
    const OwnedMol mol = molecule({{6}, {35, 2}, {35, 0, 2.75}}, "0 1 0, 0 2 0", bothLeave);
    const Found found = search(file.path(), *mol);
    EXPECT_EQ(found.partners(3), Ints({0, 2, 1}));
    EXPECT_EQ(found.output,
              starts("super", 3, 2) + ends("super", 3, -1, "(null) (null) (null) \n"));
}

/// The contest of candidates of one class and weight with every solution superposed.
Found measureAll(const char *path, Molecule &mol) {
    constexpr int most = 12;
    const OwnedBlock<int> code(getTransitionCode(&mol));
    Molecule **list = nullptr;
    const int listed = filterDB(path, code.get(), &list);
    const auto size = static_cast<std::size_t>(mol.atomCount);
    Ints marks(size), scores(most);
    std::vector<Ints> maps(most, Ints(size));
    std::vector<int *> pointers;
    for (Ints &map : maps)
        pointers.push_back(map.data());
    createBondlink(&mol);
    mapTransition(&mol, marks.data(), -7, -1);
    AlignMapState state;
    double params[ALIGN_PARAMS], best = 1e6;
    alignMapStart(&mol, marks.data(), nullptr, &state, params);
    const Ints centre = marks;
    mapTransition(&mol, marks.data(), -7, -4);
    Found found;
    for (Molecule *candidate : countedSpan(list, listed)) {
        OwnedMol owned(candidate);
        createBondlink(candidate);
        Ints candidateMarks(static_cast<std::size_t>(candidate->atomCount));
        mapTransition(candidate, candidateMarks.data(), -7, -4);
        int count = 0;
        const int *winner = nullptr;
        mapSub(&mol, candidate, marks.data(), pointers.data(), scores.data(), &count, most,
               candidateMarks.data(), 1, 1);
        EXPECT_GT(count, 1);
        for (std::size_t m = 0; m < static_cast<std::size_t>(count); ++m) {
            for (std::size_t i = 0; i < size; ++i)
                if (centre[i] != -7) pointers[m][i] = -1;
            if (scores[m] < 0) mirrorRS(candidate);
            const double misfit =
                alignMapMol(candidate, pointers[m], mol.atomCount, nullptr, &state, params);
            if (scores[m] < 0) mirrorRS(candidate);
            if (!(misfit < best)) continue;
            best = misfit;
            winner = &scores[m];
            found.map.reset(allocateArray<int>(size));
            std::copy_n(pointers[m], size, found.map.get());
        }
        if (!winner) continue;
        if (*winner < 0) mirrorRS(candidate);
        found.match = std::move(owned);
    }
    std::free(static_cast<void *>(list));
    alignMapEnd(&state);
    return found;
}

std::vector<std::uint64_t> coordinateBits(const Molecule &mol) {
    std::vector<std::uint64_t> bits;
    for (const Atom &atom : atomsOf(mol))
        for (const double value : {atom.x, atom.y, atom.z})
            bits.push_back(std::bit_cast<std::uint64_t>(value));
    return bits;
}

TEST(Searching, LeavesOutSolutionsThatLoseAndChangesNoDigit) {
    std::mt19937 engine(81);
    std::uniform_real_distribution<double> place(-2, 2);
    std::normal_distribution<double> noise;
    const std::vector<Transition> allLeave = {{0, 1, -1, -1}, {0, 2, -1, -1}, {0, 3, -1, -1}};
    const std::string bonds = "0 1 0, 0 2 0, 0 3 0, 0 4 1";
    for (int round = 0; round < 25; ++round) {
        SCOPED_TRACE(round);
        std::vector<At> shape = {{6}, {35}, {35}, {35}, {9}};
        const auto scatter = [&](double width) {
            std::vector<At> atoms = shape;
            for (At &atom : atoms)
                atom = {atom.element, atom.x + width * noise(engine),
                        atom.y + width * noise(engine), atom.z + width * noise(engine)};
            return atoms;
        };
        for (At &atom : shape)
            atom = {atom.element, place(engine), place(engine), place(engine)};
        const TemporaryFile file;
        for (int i = 0; i < 8; ++i) { // one with a carbon more, so that all are of a class
            std::vector<At> atoms = scatter(i % 4 ? 0.5 : 0.01);
            atoms.push_back({6, 0, 0, 5});
            for (At &atom : atoms)
                if (i % 3 == 0) atom.z = -atom.z;
            store(file, std::to_string(i), *molecule(atoms, bonds + ", 4 5 1", allLeave));
        }
        const std::vector<At> wanted = scatter(0.1);
        const OwnedMol mol = molecule(wanted, bonds, allLeave),
                       same = molecule(wanted, bonds, allLeave);
        const Found found = search(file.path(), *mol), expected = measureAll(file.path(), *same);
        ASSERT_TRUE(found.match && expected.match);
        EXPECT_STREQ(found.match->name, expected.match->name);
        EXPECT_EQ(found.partners(5), expected.partners(5));
        EXPECT_EQ(coordinateBits(*found.match), coordinateBits(*expected.match));
        EXPECT_EQ(coordinateBits(*mol), coordinateBits(*same));
    }
}

TEST(Searching, CountsBelowZeroLowerTheScoreAndAreNotZero) {
    const TemporaryFile file;
    store(file, "one F", *molecule({{6}, {35, 2}, {9, 0, 1.5}}, "0 1 0, 0 2 1", bromineLeaves));
    // Two fluorines are required though no bond of theirs changes; the record lacks one.
    const OwnedMol mol = molecule({{6}, {35, 2}, {9, 0, 1.5}, {9, 0, 0, 1.5}},
                                  "0 1 0, 0 2 1, 0 3 1", {{0, 1, 2, -1}, {-1, 3, -1, -1}});
    const Found found = search(file.path(), *mol);
    EXPECT_EQ(std::to_string(found.result) + found.output, "0" + starts("none", 3, 2));
}

TEST(Searching, FindingNothingTakesTheFrameOnly) {
    const Stored other({"other"}), same({"exact"});
    for (const char *path : {other.path(), "/nowhere/at/all", same.path()}) {
        const bool withTransitions = path != same.path();
        const OwnedMol mol = asked(2.5);
        if (!withTransitions) mol->transitionCount = 0;
        Molecule *match = mol.get();
        int marker = 0, *map = &marker;
        EXPECT_EQ(printed([&] { EXPECT_EQ(mapDB(path, mol.get(), &match, &map), 0); }), "");
        EXPECT_EQ(match, withTransitions ? nullptr : mol.get());
        EXPECT_EQ(map, withTransitions ? nullptr : &marker);
        EXPECT_EQ(mol->name, nullptr);
        EXPECT_EQ(mol->bondlink != nullptr, withTransitions);
        if (withTransitions)
            expectAt(mol->atoms[1], 2.5, 0, 0, 1e-12);
        else
            expectAt(mol->atoms[1], 5, -0.5, 1, 0);
    }
    for (const int element : {255, 300, -1, INT_MAX}) { // beyond the table of elements
        const OwnedMol mol = asked();
        mol->atoms[4].element = element;
        const Found found = search(same.path(), *mol);
        EXPECT_EQ(std::to_string(found.result) + found.output, "0");
    }
}

TEST(Searching, TransitionsThatNameNoAtomReachAnEmptyAlignment) {
    const TemporaryFile file;
    const std::vector<Transition> nowhere = {{-5, 99, 99, 7}};
    const int32_t noCode = 0;
    ASSERT_EQ(insertDB(file.path(), strdup("empty"), &noCode, storedStructure("super").get()), 1);
    const OwnedMol mol = molecule(methane, methaneBonds, nowhere);
    const Found found = search(file.path(), *mol);
    EXPECT_EQ(found.result, 1);
    EXPECT_EQ(found.partners(5), Ints(5, -1));
    EXPECT_EQ(freezeSub(mol.get(), found.match.get(), found.map.get()), 1);
    expectAt(mol->atoms[1], 2, 0, 0, 0);
    EXPECT_EQ(mol->atoms[1].frozen, 0);
    search(file.path(), *molecule({}, "", nowhere)); // not even atoms
}

TEST(Searching, FilterReadsAllRecordsOfACodeInFileOrder) {
    const TemporaryFile file;
    const OwnedMol wanted = molecule({{6}, {35}}, "", bromineLeaves);
    const OwnedMol other = molecule({{6}, {17}}, "", bromineLeaves);
    for (int i = 0; i < 202; ++i)
        store(file, std::to_string(i), i % 2 ? *wanted : *other);
    int code[] = {6, 35, 0}, unknown[] = {6, 36, 0};
    Molecule **list = nullptr;
    EXPECT_EQ(filterDB("/nowhere/at/all", code, &list) + filterDB(nullptr, code, &list) +
                  filterDB(file.path(), unknown, &list),
              0);
    EXPECT_EQ(list, nullptr);
    ASSERT_EQ(filterDB(file.path(), code, &list), 101);
    for (int i = 0; i < 101; ++i) {
        EXPECT_EQ(list[i]->name, std::to_string(2 * i + 1));
        freeMol(list[i]);
    }
    std::free(static_cast<void *>(list));
}

// ---- freezing

// A leg and the hydrogen, on a diagonal, make an angle of acos(-1 / sqrt(3)), 125.2644 degrees.

TEST(Freezing, PlacesMappedAtomsAndKeepsTheAnglesOfTheShell) {
    const OwnedMol mol = asked(), match = storedStructure("super");
    createBondlink(mol.get());
    createBondlink(match.get());
    Ints map = {0, 1, 2, -1, 99};
    mol->atoms[3].frozen = 7;
    EXPECT_EQ(freezeSub(mol.get(), match.get(), map.data()), 1);
    EXPECT_EQ(map, Ints({0, 1, 2, -1, 99}));
    expectAt(mol->atoms[0], 0, 0, 0, 1e-9);
    expectAt(mol->atoms[1], 2, 0, 0, 1e-9);
    expectAt(mol->atoms[2], 0, 1.5, 0, 1e-9);
    expectAt(mol->atoms[3], 0, 0, 1.5, 1e-9); // its own, moved into the frame
    const int frozen[] = {1, 1, 1, 7, 0};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(mol->atoms[i].frozen, frozen[i]) << i;
    EXPECT_EQ(
        constraints(*mol),
        "1-0-3 90.0000/2, 1-0-4 125.2644/2, 2-0-3 90.0000/2, 2-0-4 125.2644/2, 3-0-4 125.2644/2");
}

TEST(Freezing, ShellKeepsItsHandednessAndItsAnyElementRule) {
    // The match has sulfur where the molecule has oxygen, and lists its neighbours backwards.
    const OwnedMol mol = asked();
    const OwnedMol match =
        molecule({{6}, {35, 2, 0, 0}, {9, 0, 1.5, 0}, {16, 0, 3, 3}, {1, -1, -1, -1}},
                 "0 4 1, 0 3 1, 0 2 1, 0 1 0", bromineLeaves);
    createBondlink(mol.get());
    createBondlink(match.get());
    Ints map = {0, 1, -1, -1, -1};
    freezeSub(mol.get(), match.get(), map.data());
    // Fluorine is placed first, on the first partner offered: the hydrogen. Of the two ways to
    // place the other two, the one that keeps the turn F, O, H about C-Br puts O on F and H on S.
    EXPECT_EQ(constraints(*mol), "1-0-2 125.2644/2, 1-0-3 90.0000/2, 1-0-4 90.0000/2, "
                                 "2-0-3 125.2644/2, 2-0-4 144.7356/2, 3-0-4 45.0000/2");
}

// ---- from start to finish

/// Start with the C-Br bond still whole.
int start(const OwnedMol &mol, const char *path) {
    mol->bonds[0]->type = 1;
    int result = -99;
    printed([&] { result = C_startReaction(mol.get(), path); });
    return result;
}

TEST(ReactionRun, WithoutAPartialMatchNothingIsHeld) {
    const Stored other({"other"}), exact({"exact"});
    const char *const paths[] = {nullptr, other.path(), "/nowhere/at/all", exact.path()};
    for (const char *path : paths) {
        const OwnedMol mol = asked(2.5);
        const bool found = path == exact.path();
        EXPECT_EQ(start(mol, path), found ? 0 : 1);
        EXPECT_STREQ(mol->name, found ? "exact (Exact)" : nullptr);
        if (found) expectAt(mol->atoms[1], 2, 0, 0, 0);
        EXPECT_EQ(mol->bonds[0]->type, 0);
        EXPECT_EQ(constraints(*mol, false), "0-1 1.9330");
        EXPECT_EQ(C_finishReaction(mol.get()), 0);
        EXPECT_EQ(mol->constraintCount - mol->atoms[0].frozen, 1);
    }
}

TEST(ReactionRun, PartialMatchIsHeldPlacedAndReleased) {
    const Stored file({"super"});
    const OwnedMol mol = asked(2.25);
    EXPECT_EQ(start(mol, file.path()), 1);
    EXPECT_STREQ(mol->name, "super");
    EXPECT_EQ(constraints(*mol), "0-1 2.0000/1");
    EXPECT_EQ(C_finishReaction(mol.get()), 1);
    expectAt(mol->atoms[0], 0.125, 0, 0, 1e-5); // 2 centred on 2.25
    expectAt(mol->atoms[1], 2.125, 0, 0, 1e-5);
    EXPECT_NEAR(calcDist(&mol->atoms[2], &mol->atoms[3]), 1.5 * std::sqrt(2), 1e-9);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(mol->atoms[i].frozen, i < 2 ? 1 : 0) << i;
    EXPECT_EQ(C_finishReaction(mol.get()), 0);
}

TEST(ReactionRun, HeldMatchSurvivesAllButANewSearch) {
    const Stored file({"super"}), other({"other"});
    const struct {
        const char *what, *path;
        bool withTransitions;
        int held;
    } rows[] = {{"no transitions", file.path(), false, 1},
                {"no database", nullptr, true, 1},
                {"found again", file.path(), true, 1},
                {"nothing found", other.path(), true, 0},
                {"unreadable", "/nowhere/at/all", true, 0}};
    for (const auto &[what, path, withTransitions, held] : rows) {
        SCOPED_TRACE(what);
        const OwnedMol first = asked(), second = asked(2.5);
        EXPECT_EQ(start(first, file.path()), 1);
        second->transitionCount = withTransitions ? 1 : 0;
        EXPECT_EQ(start(second, path), 1);
        EXPECT_EQ(C_finishReaction(second.get()), held);
        EXPECT_EQ(second->atoms[1].frozen, held);
        EXPECT_EQ(C_finishReaction(first.get()), 0);
    }
    const OwnedMol left = asked();
    start(left, file.path()); // released at the end of the process
}

TEST(ReactionRun, MoleculeMayGrowShrinkOrChangeBeforeTheFinish) {
    const Stored file({"super"});
    const OwnedMol grown = asked();
    EXPECT_EQ(start(grown, file.path()), 1);
    C_setAtom(grown.get(), 40, 6, 3, "new", 9, 9, 9);
    C_setBond(grown.get(), 1, 0, 40, 1); // was C-F, and still is in the index
    C_setBond(grown.get(), 2, 77, 40, 1);
    C_setBond(grown.get(), 9, 40, 0, 1);
    EXPECT_EQ(C_finishReaction(grown.get()), 1);
    EXPECT_EQ(grown->atoms[0].frozen + grown->atoms[1].frozen, 2);
    EXPECT_EQ(grown->atoms[40].frozen, 3);
    expectAt(grown->atoms[1], 2, 0, 0, 1e-5);

    EXPECT_EQ(start(asked(), file.path()), 1);
    const OwnedMol lone = molecule({{6, 4, 4, 4}});
    EXPECT_EQ(C_finishReaction(lone.get()), 1) << "one mapped atom is left";
    EXPECT_EQ(lone->atoms[0].frozen, 1);
    expectAt(lone->atoms[0], 0, 0, 0, 1e-12);
}

} // namespace
