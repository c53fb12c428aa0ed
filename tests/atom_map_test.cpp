// Which atoms correspond: against brute force, against the known order of the example data, and
// through the program.
#include "host/reactions/atom_map.hpp"
#include "host/structures/reader.hpp"
#include "tests/command_line.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace saddlefit::host {
namespace {

using Numbers = std::vector<int>;
const std::string data = std::string(SADDLEFIT_DATA) + "/";

Numbers order(std::size_t count) {
    Numbers numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

/// Atom i becomes atom places[i]; all are turned about the z axis and moved.
Structure shuffled(const Structure &structure, const Numbers &places) {
    auto result = structure;
    result.mapNumbers.clear();
    for (std::size_t i = 0; i < places.size(); ++i) {
        auto atom = structure.atoms[i];
        const auto at = atom.position;
        atom.position = {0.6 * at.x - 0.8 * at.y + 3.0, 0.8 * at.x + 0.6 * at.y, at.z - 1.0};
        result.atoms[static_cast<std::size_t>(places[i])] = atom;
    }
    const auto place = [&](int atom) { return places[static_cast<std::size_t>(atom)]; };
    for (auto &bond : result.bonds)
        bond = {place(bond.atom1), place(bond.atom2), bond.type};
    for (auto &ring : result.aromaticRings)
        for (auto &[a, b] : ring)
            std::tie(a, b) = orderedPair(place(a), place(b));
    return result;
}

Numbers randomPlaces(std::size_t count, std::mt19937 &random) {
    auto places = order(count);
    std::shuffle(places.begin(), places.end(), random);
    return places;
}

/// Over all maps that keep the elements.
int fewestChanges(const Structure &reactant, const Structure &product) {
    auto map = order(reactant.atoms.size());
    int fewest = 1000;
    do {
        bool fits = true;
        for (std::size_t i = 0; fits && i < map.size(); ++i)
            fits = reactant.atoms[i].element ==
                   product.atoms[static_cast<std::size_t>(map[i])].element;
        if (fits) fewest = std::min(fewest, bondsBrokenAndFormed(reactant, product, map));
    } while (std::next_permutation(map.begin(), map.end()));
    return fewest;
}

/// Carbons, oxygens and hydrogens, and any bonds between them.
Structure randomGraph(std::mt19937 &random) {
    Structure graph;
    for (const int element : {6, 6, 6, 8, 8, 1, 1, 1})
        graph.atoms.push_back({element, 0, {}});
    for (int a = 0; a < 8; ++a)
        for (int b = a + 1; b < 8; ++b)
            if (random() % 4 == 0) graph.bonds.push_back({a, b, 1});
    return graph;
}

TEST(AtomMap, ChangesAsFewBondsAsAnyMap) {
    std::mt19937 random(7);
    for (int round = 0; round < 25; ++round) {
        const auto reactant = randomGraph(random), product = randomGraph(random);
        const int fewest = fewestChanges(reactant, product);
        const auto search = mapAtoms(reactant, product, {12, 60.0});
        if (fewest > 12) {
            EXPECT_EQ(search.outcome, MapOutcome::tooManyBonds);
            continue;
        }
        ASSERT_FALSE(search.maps.empty()) << round;
        EXPECT_EQ(search.broken + search.formed, fewest) << round;
        for (const auto &map : search.maps)
            EXPECT_EQ(bondsBrokenAndFormed(reactant, product, map.productAtoms), fewest);
        const auto below = mapAtoms(reactant, product, {fewest - 1, 60.0});
        EXPECT_EQ(below.outcome, MapOutcome::tooManyBonds) << round;
    }
}

TEST(AtomMap, GivesEachAtomOfAnUnmovedStructureItsOwnPlace) {
    std::mt19937 random(11);
    for (const auto &record : readRecords(data + "parents_reactants.sdf")) {
        const auto reactant = structureOf(record);
        auto cut = reactant; // without its first bond
        if (cut.bonds.size() < 3) continue;
        cut.bonds.erase(cut.bonds.begin());
        const auto places = randomPlaces(cut.atoms.size(), random);
        const auto search = mapAtoms(reactant, shuffled(cut, places));
        ASSERT_FALSE(search.maps.empty()) << reactant.title;
        EXPECT_EQ(search.broken + search.formed, 1) << reactant.title;
        EXPECT_EQ(search.maps.front().productAtoms, places) << reactant.title;
        EXPECT_NEAR(search.maps.front().misfit, 0.0, 1e-4) << reactant.title;
    }
}

TEST(AtomMap, FindsTheFewestChangesOfShuffledReactions) {
    std::mt19937 random(13);
    const auto reactants = readRecords(data + "parents_reactants.sdf");
    const auto products = readRecords(data + "parents_products.sdf");
    for (std::size_t i = 0; i < reactants.size(); ++i) {
        const auto &reactant = structureOf(reactants[i]), &product = structureOf(products[i]);
        const auto places = randomPlaces(product.atoms.size(), random);
        const auto search = mapAtoms(reactant, shuffled(product, places));
        if (search.outcome == MapOutcome::unchanged) continue; // an exchange of like for like
        ASSERT_EQ(search.outcome, MapOutcome::found) << reactant.title;
        EXPECT_EQ(search.broken + search.formed,
                  bondsBrokenAndFormed(reactant, product, order(places.size())))
            << reactant.title;
    }
}

TEST(AtomMap, NamesWhatStandsInTheWay) {
    Structure methane, other;
    for (const int element : {6, 1, 1, 1, 1})
        methane.atoms.push_back({element, 0, {}});
    for (int i = 1; i < 5; ++i)
        methane.bonds.push_back({0, i, 1});
    other = methane;
    EXPECT_EQ(mapAtoms(methane, other).outcome, MapOutcome::unchanged);
    other.atoms[4].element = 9;
    EXPECT_EQ(mapAtoms(methane, other).outcome, MapOutcome::differentAtoms);
    other = methane;
    other.bonds.clear();
    EXPECT_EQ(mapAtoms(methane, other, {3, 60.0}).outcome, MapOutcome::tooManyBonds);
    EXPECT_EQ(mapAtoms(methane, other, {4, -1.0}).outcome, MapOutcome::outOfTime);
    other = methane; // map numbers of one hydrogen each
    methane.mapNumbers = {0, 7, 0, 0, 0};
    other.mapNumbers = {0, 0, 0, 7, 0};
    EXPECT_EQ(mapAtoms(methane, other).maps.front().productAtoms[1], 3);
}

/// A record whose atoms are listed backwards.
std::string backwards(const std::string &record) {
    std::istringstream stream(record);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    const int atoms = std::stoi(lines[3].substr(0, 3)), bonds = std::stoi(lines[3].substr(3, 3));
    std::reverse(lines.begin() + 4, lines.begin() + 4 + atoms);
    for (int i = 0; i < bonds; ++i) {
        auto &line = lines[static_cast<std::size_t>(4 + atoms + i)];
        line = test::columns("%3d%3d", atoms + 1 - std::stoi(line.substr(0, 3)),
                             atoms + 1 - std::stoi(line.substr(3, 3))) +
               line.substr(6);
    }
    std::string text;
    for (const auto &line : lines)
        text += line + "\n";
    return text;
}

using Map = test::CommandLineTest;

TEST_F(Map, OfTheProgramIsFoundOrAskedFor) {
    const auto record = [&](const std::string &name) {
        const auto text = test::contentsOf(data + name);
        return text.substr(0, text.find("$$$$\n") + 5);
    };
    const auto reactant = record("parents_reactants.sdf"), product = record("parents_products.sdf");
    write("r.sdf", reactant);
    write("p.sdf", product);
    write("backwards.sdf", backwards(product));
    write("same.sdf", backwards(reactant));
    ASSERT_EQ(run("db add --force a.db r.sdf p.sdf r.sdf").status, 0);
    ASSERT_EQ(run("db add --force b.db r.sdf backwards.sdf r.sdf").status, 0);

    const auto plain = run("react r.sdf p.sdf --db a.db --json plain.jsonl");
    EXPECT_FALSE(test::contains(plain.err, "paired")) << plain.err;
    EXPECT_TRUE(test::contains(contents("plain.jsonl"), "\"pairing\":null"));
    for (const auto *database : {"a.db", "b.db"}) {
        const auto mapped = run("react r.sdf backwards.sdf -o o.sdf --db " + std::string(database));
        EXPECT_EQ(mapped.out, plain.out) << database;
        EXPECT_TRUE(test::contains(mapped.err, "paired by the fewest changes")) << mapped.err;
        EXPECT_TRUE(test::contains(contents("o.sdf"), "<PRODUCT_ATOMS>"));
    }
    EXPECT_EQ(run("react r.sdf backwards.sdf --map order --db a.db").status, 1);
    EXPECT_TRUE(test::contains(run("react r.sdf backwards.sdf --map numbers --db a.db").err,
                               "not every atom has a map number"));
    EXPECT_TRUE(test::contains(run("react r.sdf same.sdf --db a.db").err,
                               "both sides are the same molecules"));
}

/// The record of chloride and methyl chloride with the map numbers that `keeps` names.
std::string exchange(const std::string &file, const std::string &keeps) {
    const auto text = test::contentsOf(data + file);
    const auto begin = text.find("sn2-cl-ch3cl");
    std::istringstream stream(text.substr(begin, text.find("$$$$\n", begin) + 5 - begin));
    std::string result;
    for (std::string line; std::getline(stream, line); result += line + "\n") {
        constexpr std::size_t atomLine = 69, number = 60;
        if (line.size() != atomLine || keeps.find(line[number + 2]) != std::string::npos) continue;
        line.replace(number, 3, "  0");
    }
    return result;
}

TEST_F(Map, KeepsNumbersOfSomeAtomsAndRefusesTheSameMoleculesWithoutAny) {
    const struct {
        const char *numbers, *options;
        int status;
    } rows[] = {{"123456", "", 0}, {"13", "", 0}, {"", "", 1}, {"", "--map order", 0}};
    for (const auto &[numbers, options, status] : rows) {
        SCOPED_TRACE(std::string(numbers) + " " + options);
        write("r.sdf", exchange("parents_reactants.sdf", numbers));
        write("p.sdf", exchange("parents_products.sdf", numbers));
        write("ts.sdf", exchange("parents_ts.sdf", ""));
        run("db add --force a.db r.sdf p.sdf ts.sdf");
        const auto answer = run("react r.sdf p.sdf --db a.db " + std::string(options));
        EXPECT_EQ(answer.status, status) << answer.err;
        EXPECT_EQ(test::contains(answer.out, "exact sn2-cl-ch3cl"), status == 0) << answer.out;
        EXPECT_EQ(test::contains(answer.err, "give them map numbers"), status == 1) << answer.err;
    }
}

} // namespace
} // namespace saddlefit::host
