// The command line as a process: what it prints, writes and returns.
#include "host/store/collection_file.hpp"
#include "host/structures/reader.hpp"
#include "tests/command_line.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace saddlefit::host;
using namespace saddlefit::test;

const std::string data = SADDLEFIT_DATA;

std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// ---- SD files -------------------------------------------------------------------------------

struct DrawnBond {
    int a, b, type;
};

// Atoms on a circle, so that every distance differs from zero.
std::string sdf(const std::string &title, const std::vector<std::string> &elements,
                const std::vector<DrawnBond> &bonds) {
    std::string text =
        title + "\n  test\n\n" +
        columns("%3zu%3zu  0  0  0  0  0  0  0  0999 V2000\n", elements.size(), bonds.size());
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const double angle = 6.28 * static_cast<double>(i) / static_cast<double>(elements.size());
        text += columns("%10.4f%10.4f%10.4f %-3s 0  0\n", 1.4 * std::cos(angle),
                        1.4 * std::sin(angle), 0.1 * static_cast<double>(i), elements[i].c_str());
    }
    for (const auto &[a, b, type] : bonds)
        text += columns("%3d%3d%3d  0\n", a, b, type);
    return text + "M  END\n$$$$\n";
}

std::vector<Structure> records(const std::string &path) {
    std::vector<Structure> result;
    for (const auto &record : readRecords(path))
        result.push_back(structureOf(record));
    return result;
}

// ---- the program ----------------------------------------------------------------------------

class CommandLine : public CommandLineTest {
protected:
    // "@NAME" names a file of the test's own folder, "%NAME" one of the example data.
    std::string expanded(const std::string &arguments) const {
        return replaced(replaced(arguments, "@", file("")), "%", data + "/");
    }

    Answer run(const std::string &arguments) const {
        return CommandLineTest::run(expanded(arguments));
    }

    // A reaction of four carbons, given by the bonds of its two sides.
    Answer reactFour(const std::vector<DrawnBond> &before, const std::vector<DrawnBond> &after) {
        const std::vector<std::string> carbons{"C", "C", "C", "C"};
        write("r.sdf", sdf("four", carbons, before));
        write("p.sdf", sdf("four", carbons, after));
        write("empty.db", "");
        fs::remove(file("o.sdf"));
        return run("react @r.sdf @p.sdf --db @empty.db -o @o.sdf " + asTheyStand);
    }

    // Atoms, bonds and coordinates of the records, nothing moved afterwards.
    const std::string asTheyStand = "--map order --orders drawn --start reactant --relax none";
};

const std::string parentsOf = "%b3lyp/parents_reactants.sdf %b3lyp/parents_products.sdf";
const std::string queriesOf = "%b3lyp/queries_reactants.sdf %b3lyp/queries_products.sdf";

const std::string methane = sdf("x", {"C", "H", "H"}, {{1, 2, 1}, {1, 3, 1}});
const std::string carbene = sdf("x", {"C", "H", "H"}, {{2, 3, 1}});

TEST_F(CommandLine, WrongUsageEndsWithStatusTwo) {
    for (const std::string arguments : {"",
                                        "bogus",
                                        "db",
                                        "db bogus",
                                        "react",
                                        "react @a @b @c --db @d",
                                        "db add @a @b @c",
                                        "db list",
                                        "compare @a",
                                        "react @a @b --db @c --unknown",
                                        "react @a @b --db @c --stages full,bogus",
                                        "react @a @b --db @c --shard 4/3",
                                        "react @a @b --db @c --shard 0/3",
                                        "react @a @b --db @c --jobs 0",
                                        "react @a @b --db @c --shard 1/-1",
                                        "react @a @b --db @c --stages ''",
                                        "react @a @b --db @c --timeout nan",
                                        "react @a @b --db @c --timeout inf",
                                        "react @a @b --db @c --timeout 0",
                                        "react @a @b --db @c --relax 2",
                                        "react @a @b --db @c --orders 1",
                                        "react @a @b --db @c --relax bogus",
                                        "react @a @b --db @c -d @x"}) {
        SCOPED_TRACE(arguments);
        const auto answer = run(arguments);
        EXPECT_EQ(answer.status, 2);
        EXPECT_EQ(answer.out, "");
        EXPECT_TRUE(answer.err.starts_with("saddlefit: ")) << answer.err;
        EXPECT_TRUE(contains(answer.err, "--help")) << answer.err;
        EXPECT_LT(answer.err.size(), 250U) << answer.err;
    }
}

TEST_F(CommandLine, WrongWordsAreAnsweredWithTheNearestOnes) {
    for (const auto &[arguments, told] :
         {std::pair{"raect", "did you mean \"react\"? \"saddlefit --help\""},
          std::pair{"nonsense",
                    "\"nonsense\" is no command of \"saddlefit\"; the commands are react"},
          std::pair{"db lsit", "did you mean \"list\"? \"saddlefit db --help\""},
          std::pair{"react @a @b --db @c --realx uff",
                    "did you mean \"--relax\"? \"saddlefit react --"},
          std::pair{"react @a", "PRODUCTS is required; \"saddlefit react --help\""},
          std::pair{"db add @a @b @c", "\"saddlefit db add --help\""}}) {
        const auto answer = run(arguments);
        EXPECT_EQ(answer.status, 2);
        EXPECT_TRUE(contains(answer.err, told)) << answer.err;
    }
}

TEST_F(CommandLine, HelpShowsAnExampleForEachCommand) {
    EXPECT_EQ(run("--version").status, 0);
    for (const std::string command :
         {"", "react", "compare", "perceive", "stereo", "db", "db add", "db list", "db show",
          "db remove", "db check", "db validate", "db compact", "db salvage"}) {
        SCOPED_TRACE(command);
        const auto answer = run(command + " --help");
        EXPECT_EQ(answer.status, 0);
        const auto examples = answer.out.find("xample");
        ASSERT_NE(examples, std::string::npos);
        EXPECT_TRUE(contains(answer.out.substr(examples), ":\n  saddlefit " + command));
    }
}

TEST_F(CommandLine, ErrorsNameFileRecordAndFault) {
    run("db add --force @some.db " + parentsOf + " %b3lyp/parents_ts.sdf");
    const auto database = contents("some.db");
    write("r.sdf", methane);
    write("p.sdf", carbene);
    write("none.sdf", "");
    write("other.sdf", sdf("x", {"C", "H", "F"}, {{2, 3, 1}}));
    write("fewer.sdf", sdf("x", {"C", "H"}, {}));
    write("two.sdf", carbene + carbene);
    write("cut.sdf", carbene.substr(0, carbene.find("V2000") + 20));
    write("query.sdf", sdf("x", {"C", "H", "H"}, {{2, 3, 8}}));
    write("beyond.sdf", sdf("x", {"C", "H", "H"}, {{2, 7, 1}}));
    write("letters.sdf", replaced(carbene, "    1.4000", "    1.4o00"));
    write("unknown.sdf", replaced(carbene, " C   0", " Qq  0"));
    write("text.sdf", "one\ntwo\nthree\nfour\nfive\n");
    write("short.xyz", "3\nx\nC 0 0 0\nH 1 0 0\n");
    write("x.smi", "[C:1]([H:2])[H:3] x\n");
    write("implicit.smi", "[CH:1][H:2] x\n");
    write("unmapped.smi", "[C:1]([H:2])[H] x\n");
    write("twice.smi", "[C:1]([H:2])[H:2] x\n");
    write("x.unheard", methane);
    struct Row {
        const char *products;
        std::vector<std::string> parts;
    };
    const std::vector<Row> rows{
        {"@missing.sdf", {"missing.sdf: cannot be opened", "No such file"}},
        {"@x.unheard", {"x.unheard", "format", ".sdf"}},
        {"@none.sdf", {"none.sdf: no structure"}},
        {"@two.sdf", {"two.sdf has 2 records", "r.sdf has 1"}},
        {"@other.sdf",
         {"other.sdf, record 1 (x): the sides do not balance",
          "products lack H, the reactants lack F"}},
        {"@fewer.sdf", {"fewer.sdf, record 1 (x): the sides do not balance: the products lack H"}},
        {"@cut.sdf", {"cut.sdf, record 1 (x): line 5: ", "coordinate"}},
        {"@query.sdf", {"query.sdf, record 1 (x): bond 1 has type 8"}},
        {"@beyond.sdf", {"beyond.sdf, record 1 (x): the record is broken", "2 7 1"}},
        {"@letters.sdf", {"letters.sdf, record 1 (x): line 5: \"1.4o00\" is not a coordinate"}},
        {"@unknown.sdf", {"unknown.sdf, record 1 (x): atom 1", "element"}},
        {"@text.sdf", {"text.sdf, record 1 (one): line 4"}},
        {"@short.xyz", {"short.xyz, record 1 (x): the record is broken"}},
        {"@r.sdf", {"r.sdf, record 1 (x): no bond differs"}},
        {"@p.sdf --start @x.smi", {"x.smi, record 1 (x): the record has no coordinates"}},
        {"@implicit.smi", {"implicit.smi, record 1 (x): hydrogens are not written at C1;"}},
        {"@unmapped.smi", {"unmapped.smi, record 1 (x): the map numbers are not 1, 2, 3"}},
        {"@twice.smi", {"twice.smi, record 1 (x): the map numbers are not 1, 2, 3"}},
        {"@p.sdf --uhf 1", {"r.sdf, record 1 (x): a charge of 0 leaves 8 electrons, of which 1"}},
        {"@p.sdf --uhf 10", {"r.sdf, record 1 (x): a charge of 0 leaves 8 electrons, of which 10"}},
        {"@p.sdf --charge 9", {"r.sdf, record 1 (x): a charge of 9 leaves -1 electrons"}},
        {"@p.sdf --timeout 1e-9", {"r.sdf, record 1 (x): took longer than 1e-09 s", "database"}},
        {"@p.sdf --db @missing.db", {"missing.db: the database cannot be opened", "db add"}},
        {"@p.sdf --db @r.sdf", {"r.sdf: this is no reaction database"}},
        {"@p.sdf -o @nowhere/o.sdf", {"nowhere/o.sdf: cannot be written"}},
        {"@p.sdf -o @some.db", {"some.db: this is the database"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.products);
        const std::string products = row.products;
        const bool namesDatabase = contains(products, "--db");
        const auto answer =
            run("react @r.sdf " + products + (namesDatabase ? "" : " --db @some.db"));
        EXPECT_EQ(answer.status, 1);
        EXPECT_EQ(answer.out, "");
        EXPECT_EQ(linesOf(answer.err).size(), 1U) << answer.err;
        for (const auto &part : row.parts) {
            EXPECT_TRUE(contains(answer.err, part)) << answer.err;
        }
    }
    EXPECT_TRUE(contents("some.db") == database);
}

std::string withMaps(const std::string &text, const std::vector<int> &numbers) {
    auto lines = linesOf(text);
    for (std::size_t i = 0; i < numbers.size(); ++i)
        lines.at(4 + i) += "  0  0  0  0  0  0  0" + columns("%3d", numbers[i]);
    std::string mapped;
    for (const auto &line : lines)
        mapped += line + "\n";
    return mapped;
}

TEST_F(CommandLine, MapNumbersMayNotContradictTheOrderOfTheAtoms) {
    write("empty.db", "");
    write("r.sdf", withMaps(methane, {1, 2, 3}));
    for (const auto &[numbers, status] : {std::pair{std::vector{1, 3, 2}, 1},
                                          {std::vector{1, 2, 3}, 0},
                                          {std::vector{1, 3, 0}, 0}}) {
        write("p.sdf", withMaps(carbene, numbers));
        const auto answer = run("react @r.sdf @p.sdf --db @empty.db");
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(contains(answer.err, "p.sdf, record 1 (x): by the map numbers H2 of the reactant "
                                       "is H3"),
                  status == 1)
            << answer.err;
    }
}

TEST_F(CommandLine, DoubtfulRecordsAreWarnedOfOnce) {
    write("empty.db", "");
    const std::vector<std::string> ethane{"C", "C", "O"}, heavy{"C", "C", "D"};
    const auto charged =
        replaced(sdf("x", ethane, {{2, 3, 1}}), "M  END", "M  CHG  1   3  -1\nM  END");
    struct Row {
        std::string reactant, product;
        const char *warning;
    };
    for (const auto &[reactant, product, warning] :
         {Row{sdf("x", ethane, {{1, 2, 1}}), sdf("x", ethane, {{2, 3, 1}}),
              "no carbon has a hydrogen"},
          Row{sdf("x", heavy, {{1, 3, 1}}), sdf("x", heavy, {{1, 2, 1}}), "isotopes are not kept"},
          Row{sdf("x", ethane, {{1, 2, 1}}), charged,
              "add up to 0 in the reactant and to -1 in"}}) {
        SCOPED_TRACE(warning);
        write("r.sdf", reactant);
        write("p.sdf", product);
        const auto answer = run("react @r.sdf @p.sdf --db @empty.db");
        EXPECT_EQ(answer.status, 0);
        const auto at = answer.err.find(warning);
        EXPECT_TRUE(contains(answer.err, "r.sdf, record 1 (x): warning: ")) << answer.err;
        EXPECT_NE(at, std::string::npos) << answer.err;
        EXPECT_EQ(answer.err.find(warning, at + 1), std::string::npos) << answer.err;
    }
}

TEST_F(CommandLine, ABatchIsCountedAndXtbMayBeMissing) {
    run("db add --force @some.db " + parentsOf + " %b3lyp/parents_ts.sdf");
    setenv("SADDLEFIT_DB", file("some.db").c_str(), 1);
    const std::string path = getenv("PATH");
    setenv("PATH", "/nowhere", 1);
    const auto answer = run("react " + queriesOf + " --relax xtb -o @x.sdf");
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(answer.status, 0) << answer.err;
    EXPECT_TRUE(
        contains(answer.err, "warning: relaxed by distances, for the program xtb is not there"));
    EXPECT_TRUE(contains(answer.err, "warning for 2 more: relaxed by distances")) << answer.err;
    EXPECT_TRUE(
        contains(answer.err, "saddlefit: 3 reactions: 0 exact, 2 partial, 1 lengths, 0 failed\n"));
    EXPECT_TRUE(contains(answer.out, "\tconfidence ")) << answer.out;
    const auto plain = run("react -q " + queriesOf + " -o @plain.sdf");
    EXPECT_EQ(plain.out + plain.err, "");
    unsetenv("SADDLEFIT_DB");
    const auto relaxed = records(file("x.sdf")), wanted = records(file("plain.sdf"));
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        EXPECT_EQ(relaxed.at(i).fields.at("RELAXED"), "distances");
        const auto &one = relaxed.at(i).atoms.at(0), &other = wanted.at(i).atoms.at(0);
        EXPECT_EQ(distanceBetween(one.position, other.position), 0.0);
        EXPECT_TRUE(
            contains(wanted.at(i).fields.at("LENGTH_SOURCES"), i == 1 ? " database" : " match"));
    }
}

TEST_F(CommandLine, TheCollectionAnswersWhereNoDatabaseIsNamed) {
    write("r.sdf", methane);
    write("p.sdf", carbene);
    const auto collection = collectionFile();
    const auto answer = run("react @r.sdf @p.sdf");
    if (collection.empty()) {
        EXPECT_EQ(answer.status, 2);
        EXPECT_TRUE(contains(answer.err, "--db is required")) << answer.err;
        return;
    }
    EXPECT_EQ(answer.status, 0) << answer.err;
    EXPECT_TRUE(contains(answer.err, collection + ": takes the collection")) << answer.err;
    write("empty.db", "");
    EXPECT_FALSE(contains(run("react @r.sdf @p.sdf --db @empty.db").err, collection));
}

TEST_F(CommandLine, OneBadRecordDoesNotStopTheOthers) {
    const std::string cut = "cut\n\n\n  3  2  0  0  0  0  0  0  0  0999 V2000\n$$$$\n";
    write("r.sdf", methane + cut + methane);
    write("p.sdf", carbene + carbene + carbene);
    write("empty.db", "");
    write("o.sdf", "what stood here before");
    const auto answer = run("react @r.sdf @p.sdf --db @empty.db -o @o.sdf");
    EXPECT_EQ(answer.status, 1);
    EXPECT_TRUE(contains(answer.err, "r.sdf, record 2 (cut): line 16: ")) << answer.err;
    EXPECT_EQ(linesOf(answer.out).size(), 2U);
    EXPECT_EQ(records(file("o.sdf")).size(), 2U);
}

TEST_F(CommandLine, NothingIsWrittenWhereNothingSucceeds) {
    write("r.sdf", methane);
    write("o.sdf", "what stood here before");
    EXPECT_EQ(run("db add @new.db @r.sdf @r.sdf @r.sdf").status, 1);
    EXPECT_FALSE(fs::exists(file("new.db")));
    EXPECT_EQ(run("db add @o.sdf @r.sdf @r.sdf @r.sdf").status, 1) << "o.sdf is no database";
    EXPECT_EQ(contents("o.sdf"), "what stood here before");
    for (const auto &entry : fs::directory_iterator(fs::path(file("o.sdf")).parent_path())) {
        EXPECT_FALSE(contains(entry.path().string(), ".part")) << entry.path();
    }
}

std::string benzene(const std::array<int, 2> &types, bool withHydrogen) {
    std::vector<DrawnBond> bonds;
    for (int i = 0; i < 6; ++i) {
        bonds.push_back({i + 1, (i + 1) % 6 + 1, types[static_cast<std::size_t>(i) % 2]});
        if (i > 0 || withHydrogen) bonds.push_back({i + 1, i + 7, 1});
    }
    return sdf("benzene", {"C", "C", "C", "C", "C", "C", "H", "H", "H", "H", "H", "H"}, bonds);
}

TEST_F(CommandLine, DrawnFormsOfAnAromaticRingAreNoChange) {
    write("empty.db", "");
    write("r.sdf", benzene({1, 2}, true));
    for (const auto &types : {std::array{2, 1}, std::array{4, 4}}) {
        SCOPED_TRACE(types[0]);
        write("p.sdf", benzene(types, true));
        EXPECT_TRUE(contains(run("react @r.sdf @p.sdf --db @empty.db").err, "no bond differs"));
        write("p.sdf", benzene(types, false));
        const auto answer = run("react @r.sdf @p.sdf --db @empty.db --relax none -o @o.sdf");
        EXPECT_EQ(linesOf(answer.err).size(), 1U) << answer.err;
        EXPECT_TRUE(contains(answer.err, "empty.db: warning: the database holds no records"));
        EXPECT_EQ(records(file("o.sdf")).at(0).fields.at("TRANSITIONS"), "1 7 0 0");
    }
}

TEST_F(CommandLine, WrittenBondsAreLegalAndPartialOnesAreListed) {
    const auto answer =
        reactFour({{1, 2, 1}, {2, 3, 2}, {3, 4, 1}}, {{1, 3, 1}, {2, 3, 1}, {3, 4, 2}});
    ASSERT_EQ(answer.status, 0) << answer.err;
    const auto record = records(file("o.sdf")).at(0);
    EXPECT_TRUE(contains(contents("o.sdf"), "\n  2  3  2  0\n  3  4  1  0\nM  END"))
        << "1-2 breaks and 1-3 forms; half-way to single, 2-3 stays double";
    EXPECT_EQ(record.atoms.size(), 4U);
    EXPECT_EQ(record.fields.at("PARTIAL_BONDS"), "1 2\n1 3");
    EXPECT_EQ(record.fields.at("CHANGED_BONDS"), "1 2 1 0\n1 3 0 1\n2 3 2 1\n3 4 1 2");
    EXPECT_EQ(record.fields.at("OUTCOME"), "none");
    EXPECT_EQ(linesOf(record.fields.at("CONSTRAINTS")).size(), 4U);
    EXPECT_TRUE(answer.out.starts_with("four\tC-C C-C C-C C-C\tno match\t4 constraints\t"
                                       "0 atoms frozen\tlengths\texpected error "))
        << answer.out;
}

TEST_F(CommandLine, UntitledRecordsAreComparedByNumber) {
    const std::vector<std::string> atoms{"C", "H", "H"};
    const auto reactant = sdf("", atoms, {{1, 2, 1}, {1, 3, 1}});
    write("r.sdf", reactant + reactant);
    write("p.sdf", sdf("", atoms, {{1, 2, 1}}) + sdf("", atoms, {{1, 3, 1}}));
    write("empty.db", "");
    EXPECT_EQ(run("react @r.sdf @p.sdf --db @empty.db -o @o.sdf").status, 0);
    const auto answer = run("compare @o.sdf @r.sdf");
    EXPECT_EQ(answer.status, 0) << answer.err;
    EXPECT_TRUE(contains(answer.out, "\nrecord 2 ")) << answer.out;
    write("t.sdf", sdf("other", atoms, {}) + sdf("titles", atoms, {}));
    EXPECT_EQ(run("compare @o.sdf @t.sdf").status, 1);
    EXPECT_EQ(run("compare @o.sdf @t.sdf --by-record").out, answer.out);
    EXPECT_TRUE(contains(run("compare --by-record @o.sdf @one.sdf").err, "one.sdf"));
}

// ---- the main road, on transition states of the example data ----------------------------------

class WithParents : public CommandLine {
protected:
    void SetUp() override {
        CommandLine::SetUp();
        added_ = run("db add --force @parents.db " + parentsOf + " %b3lyp/parents_ts.sdf");
        truth_ = records(data + "/b3lyp/parents_ts.sdf");
    }

    Answer added_;
    std::vector<Structure> truth_;
};

TEST_F(WithParents, StoredTransitionStatesAreFoundAndGivenBack) {
    const auto answer = run("react " + parentsOf +
                            " --db @parents.db --map order --start %b3lyp/parents_ts.sdf "
                            "-o @o.sdf");
    EXPECT_EQ(answer.status, 0);
    EXPECT_TRUE(contains(answer.err, ": 11 exact, 0 partial, 0 lengths, 0 failed")) << answer.err;
    const auto lines = linesOf(answer.out);
    const auto written = records(file("o.sdf"));
    ASSERT_EQ(lines.size(), truth_.size());
    ASSERT_EQ(written.size(), truth_.size());
    for (std::size_t i = 0; i < truth_.size(); ++i) {
        const auto &name = truth_[i].title;
        SCOPED_TRACE(name);
        EXPECT_TRUE(contains(lines[i], "\texact " + name + "\t")) << lines[i];
        EXPECT_EQ(written[i].fields.at("MATCH"), name);
        ASSERT_EQ(written[i].atoms.size(), truth_[i].atoms.size());
        for (std::size_t atom = 0; atom < truth_[i].atoms.size(); ++atom) {
            const auto &placed = written[i].atoms[atom], &known = truth_[i].atoms[atom];
            EXPECT_EQ(placed.element, known.element);
            EXPECT_EQ(distanceBetween(placed.position, known.position), 0.0);
        }
    }
    EXPECT_TRUE(contains(contents("o.sdf"), "M  CHG  1   1  -1\nM  END"));
}

// The distances stand in the data's own table: parent O3-H4 1.29 and C1-H4 1.52, query O4-H5 1.28
// and C2-H5 1.54.
TEST_F(WithParents, ASubstitutedReactionTakesOverTheParentsDistances) {
    const auto answer = run("react " + queriesOf + " --db @parents.db -o @o.sdf");
    EXPECT_EQ(answer.status, 0) << answer.err;
    EXPECT_TRUE(contains(answer.out, "q-enol-propenol\tH-C C-O H-O C-C\tpartial enol-vinylalcohol\t"
                                     "7 constraints\t4 atoms frozen\tfull\texpected error 0."))
        << answer.out;
    EXPECT_TRUE(contains(answer.out, "q-elim-hfco\tH-C C-F H-F C-O\tno match\t4 constraints\t0"));
    const auto written = records(file("o.sdf")).at(2);
    EXPECT_EQ(written.fields.at("FROZEN_ATOMS"), "2 3 4 5");
    for (const auto &line : linesOf(written.fields.at("CONSTRAINTS"))) {
        EXPECT_TRUE(line.starts_with("angle ")) << line;
    }
    EXPECT_EQ(linesOf(written.fields.at("START_CONSTRAINTS")).size(), 6U) << "pairs of four atoms";
    struct Row {
        const char *bond;
        double predicted, known;
    };
    const auto table = run("compare @o.sdf %b3lyp/queries_ts.sdf");
    EXPECT_EQ(table.status, 0) << table.err;
    for (const Row &row : {Row{" O4-H5 ", 1.29, 1.28}, Row{" C2-H5 ", 1.52, 1.54}}) {
        SCOPED_TRACE(row.bond);
        const auto at = table.out.find(row.bond);
        ASSERT_NE(at, std::string::npos);
        std::string before, arrow, after;
        double predicted = 0.0, known = 0.0;
        std::istringstream(table.out.substr(at + 7)) >> before >> arrow >> after >> predicted >>
            known;
        EXPECT_NEAR(predicted, row.predicted, 0.006);
        EXPECT_NEAR(known, row.known, 0.006);
    }
}

TEST_F(WithParents, ExplanationsGoToStandardErrorOnRequestOnly) {
    const std::string arguments = "react " + queriesOf + " --db @parents.db --map order";
    const auto quiet = run(arguments);
    const auto verbose = run(arguments + " -v");
    EXPECT_FALSE(contains(quiet.err, "stage full")) << quiet.err;
    EXPECT_EQ(verbose.out, quiet.out);
    for (const std::string part :
         {"q-enol-propenol\n  stage full, code H-C C-O H-O C-C: 1 stored, 0 of other composition, "
          "0 not mapped or outweighed, 1 compared\n  * enol-vinylalcohol, ",
          " set, 4 atoms mapped, weight ", "      O4-H5 breaks 1.29 (breaks there)\n",
          "      C2-H5 forms 1.52 (forms there)\n", "      C2-C3 weakens 1.",
          "q-elim-hfco\n  stage full, code H-C C-F H-F C-O: nothing stored has it\n"}) {
        EXPECT_TRUE(contains(verbose.err, part)) << part << "\nis not in\n" << verbose.err;
    }
}

TEST_F(WithParents, LineEndingsOfOtherSystemsMakeNoDifference) {
    const std::string arguments = " --db @parents.db";
    for (const std::string side : {"reactants", "products"}) {
        write(side + ".sdf",
              replaced(contentsOf(data + "/b3lyp/queries_" + side + ".sdf"), "\n", "\r\n"));
    }
    EXPECT_EQ(run("react @reactants.sdf @products.sdf" + arguments).out,
              run("react " + queriesOf + arguments).out);
}

} // namespace
