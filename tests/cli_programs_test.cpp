// Inputs for other programs, and the programs themselves where they are installed.
#include "host/programs/constraint_files.hpp"
#include "host/programs/saddle_inputs.hpp"
#include "host/programs/targets.hpp"
#include "host/programs/xtb.hpp"
#include "host/system/error.hpp"
#include "host/system/process.hpp"
#include "host/system/temporary_folder.hpp"
#include "tests/command_line.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace saddlefit::host;
using saddlefit::test::contains;
using saddlefit::test::contentsOf;

Constraint distance(int a, int b, double value) {
    return {a, b, -1, -1, value, 0.0, 0};
}
Constraint angle(int a, int b, int c, double value) {
    return {a, b, c, -1, value, 0.0, 0};
}
Constraint dihedral(int a, int b, int c, int d, double value) {
    return {a, b, c, d, value, 0.0, 0};
}

// Near the transition state of CH2=CHOH -> CH3CHO; H4 walks from O3 to C1.
ConstrainedMolecule enol() {
    ConstrainedMolecule molecule;
    molecule.title = "enol #1 \"{x}\"";
    molecule.atoms = {{6, 0, {-0.6045, 0.1330, -0.3415}}, {6, 0, {0.3973, -0.4716, 0.4072}},
                      {8, 0, {1.4907, 0.1871, 0.3172}},   {1, 0, {0.6745, 0.8220, -0.6029}},
                      {1, 0, {-0.8602, 1.1444, -0.0418}}, {1, 0, {-1.4719, -0.4082, -0.6954}},
                      {1, 0, {0.3742, -1.4067, 0.9572}}};
    molecule.constraints = {distance(2, 3, 1.45), distance(0, 3, 1.40), angle(0, 1, 2, 108.0)};
    return molecule;
}

ConstrainedMolecule enolWithFixedAtoms() {
    auto molecule = enol();
    molecule.fixed = {6, 1};
    molecule.constraints.push_back(distance(6, 1, 3.0)); // between fixed atoms: holds nothing
    molecule.constraints.push_back(distance(3, 2, 9.0)); // the first one holds these atoms
    return molecule;
}

std::vector<StructureAtom> placed(std::vector<StructureAtom> atoms,
                                  const std::vector<Position> &positions) {
    for (std::size_t i = 0; i < atoms.size(); ++i)
        atoms[i].position = positions.at(i);
    return atoms;
}

void expectOnTarget(const ConstrainedMolecule &molecule, const std::vector<StructureAtom> &atoms,
                    double angstrom, double degrees) {
    for (std::size_t i = 0; i < 3; ++i) { // those of enol()
        const auto &one = molecule.constraints[i];
        EXPECT_NEAR(valueOf(one, atoms), one.value, one.c < 0 ? angstrom : degrees) << i;
    }
    for (const int atom : molecule.fixed) {
        const auto index = static_cast<std::size_t>(atom);
        const auto &p = atoms[index].position, &q = molecule.atoms[index].position;
        EXPECT_LT(std::hypot(p.x - q.x, p.y - q.y, p.z - q.z), 1e-4) << atom;
    }
}

// ---- files ------------------------------------------------------------------------------------

struct Fixture {
    const char *program;
    std::vector<const char *> parts;
};

TEST(ConstraintFile, HasEachProgramsOwnWordsAndNumbers) {
    auto molecule = enolWithFixedAtoms();
    molecule.charge = -1;
    molecule.unpaired = 1;
    molecule.stem = "0007-enol";
    molecule.constraints.push_back(dihedral(4, 0, 1, 2, -170.0));
    const Fixture fixtures[] = {
        {"xtb",
         {"# enol _1 __x__\n", "--namespace 0007-enol\n", "$chrg -1\n$spin 1\n",
          "$constrain\n  force constant=5.0\n",
          "  distance: 3, 4, 1.450000\n  distance: 1, 4, 1.400000\n  angle: 1, 2, 3, 108.000000\n"
          "  dihedral: 5, 1, 2, 3, -170.000000\n",
          "  atoms: 2,7\n$end\n"}},
        {"orca",
         {"! HF-3c Opt\n%geom\n  Constraints\n    { B 2 3 1.450000 C }\n"
          "    { B 0 3 1.400000 C }\n    { A 0 1 2 108.000000 C }\n"
          "    { D 4 0 1 2 -170.000000 C }\n    { C 1 C }\n    { C 6 C }\n  end\nend\n"
          "* xyz -1 2\n",
          "\n*\n"}},
        {"gaussian",
         {"Opt=ModRedundant", "\n\nenol _1 __x__\n\n-1 2\nC ",
          "\n\nB 3 4 =1.450000 B\nB 3 4 F\nB 1 4 =1.400000 B\nB 1 4 F\nA 1 2 3 =108.000000 B\n"
          "A 1 2 3 F\nD 5 1 2 3 =-170.000000 B\nD 5 1 2 3 F\nX 2 F\nX 7 F\n\n"}},
        {"psi4",
         {"molecule {\n-1 2\n", "frozen_distance = (\"\n    3 4\n    1 4\n  \")\n",
          "frozen_bend = (\"\n    1 2 3\n", "frozen_dihedral = (\"\n    5 1 2 3\n",
          "  2 xyz\n  7 xyz\n", "reference uhf"}},
        {"nwchem",
         {"charge -1\n", "noautoz\n", "  spring bond 3 4 5.0 2.740103\n",
          "  spring dihedral 5 1 2 3 1.0 -170.0000\n  fix atom 2 7\n", "  nopen 1\n",
          "start 0007-enol\n", "xyz 0007-enol\n"}},
        {"ase",
         {"    ((2, 3), 1.450000),\n", "    ((4, 0, 1, 2), -170.000000),\n", "indices=[1, 6]",
          "charge=-1, scf={\"uhf\": None, \"nopen\": 1}", "trajectory=\"0007-enol.traj\"",
          "write(\"0007-enol.xyz\"", "label=\"0007-enol\""}},
    };
    for (const auto &[program, parts] : fixtures) {
        const auto text = constraintFile(program, molecule);
        SCOPED_TRACE(program + (":\n" + text));
        for (const auto *part : parts)
            EXPECT_TRUE(contains(text, part)) << part;
    }
}

TEST(ConstraintFile, RefusesWhatNoProgramCanHold) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    auto beyond = enol(), negative = enol(), unfixed = enol(), nameless = enol(), lost = enol();
    beyond.constraints.push_back(distance(0, 7, 1.0));
    negative.constraints.push_back(distance(-1, 2, 1.0));
    unfixed.fixed = {7};
    nameless.constraints.push_back(distance(0, 1, nan));
    lost.atoms[2].position.y = nan;
    for (const auto &molecule : {beyond, negative, unfixed, nameless, lost})
        EXPECT_THROW(constraintFile("xtb", molecule), Error);
    EXPECT_THROW(constraintFile("abacus", enol()), Error);
}

TEST(Targets, AreMetNearbyWithFixedAtomsAtRestOrNotAtAll) {
    auto molecule = enolWithFixedAtoms();
    molecule.constraints.resize(3);
    molecule.constraints.push_back(dihedral(4, 0, 1, 2, -65.0));
    molecule.atoms[3].position.y += 0.2;
    const auto atoms = atomsOnTarget(molecule);
    expectOnTarget(molecule, atoms, 1e-5, 1e-3);
    EXPECT_NEAR(deviationOf(molecule.constraints[3], atoms), 0.0, 1e-3);

    auto far = molecule, contradiction = molecule;
    far.constraints[0].value = 3.5;
    contradiction.constraints.push_back(distance(0, 2, 4.0)); // by way of 3 it is 2.85 at most
    for (const auto &unmet : {far, contradiction}) {
        const auto given = atomsOnTarget(unmet);
        for (std::size_t i = 0; i < given.size(); ++i)
            EXPECT_EQ(distanceBetween(given[i].position, unmet.atoms[i].position), 0.0) << i;
        EXPECT_TRUE(contains(constraintFile("psi4", unmet), "off their targets"));
    }
}

// ---- processes --------------------------------------------------------------------------------

class Programs : public testing::Test {
protected:
    std::string script(const std::string &body) const {
        const auto path = folder.file("script");
        std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
        fs::permissions(path, fs::perms::owner_all);
        return path;
    }

    ProgramCall call(const std::string &program, std::vector<std::string> arguments = {}) const {
        ProgramCall one;
        one.program = program;
        one.arguments = std::move(arguments);
        one.folder = folder.path();
        one.log = folder.file("log");
        return one;
    }

    std::string log() const { return contentsOf(folder.file("log")); }

    TemporaryFolder folder;
};

TEST_F(Programs, RunInTheirFolderWithTheirEnvironment) {
    auto one =
        call(script("pwd -P; echo \"$1|$MINE|$HOME\"; cat; echo oops >&2; exit 3"), {"a b; $(c)"});
    one.environment = {{"MINE", "yes"}, {"HOME", "elsewhere"}};
    const auto result = runProgram(one);
    EXPECT_EQ(result.end, ProgramEnd::exited);
    EXPECT_EQ(result.value, 3);
    EXPECT_EQ(log(), fs::canonical(folder.path()).string() + "\na b; $(c)|yes|elsewhere\noops\n");
}

TEST_F(Programs, EndInWaysThatAreToldApart) {
    EXPECT_EQ(runProgram(call("no-such-program")).end, ProgramEnd::notFound);
    EXPECT_EQ(runProgram(call(folder.path())).end, ProgramEnd::notStarted);
    const auto killed = runProgram(call(script("kill -11 $$")));
    EXPECT_EQ(killed.end, ProgramEnd::killed);
    EXPECT_EQ(killed.value, 11);
}

TEST_F(Programs, AreKilledWithTheirChildrenWhenTheTimeIsOver) {
    auto one = call(script("(sleep 1; touch late) & setsid sh -c 'sleep 1; touch late' & wait"));
    one.timeLimit = 0.2;
    EXPECT_EQ(runProgram(one).end, ProgramEnd::timedOut);
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    EXPECT_FALSE(fs::exists(folder.file("late")));
}

// ---- xtb, played by scripts -------------------------------------------------------------------

TEST_F(Programs, XtbsFailuresAreTold) {
    const struct {
        const char *body;
        std::vector<const char *> told;
    } cases[] = {
        {"echo '[ERROR] stopped'; echo '-1- very short distance'; echo '####'; echo trace; exit 1",
         {"status 1", "[ERROR] stopped", "-1- very short distance"}},
        {"echo SIGSEGV; echo Backtrace for this; echo trace; kill -11 $$",
         {"signal 11", "SIGSEGV"}},
        {"echo working; sleep 5", {"longer than 0.5 s", "working"}},
        {"echo fine", {"no coordinates", "fine"}},
        {"printf '$coord\\n0 0 0 C\\n$end\\n' > xtbopt.coord", {"atoms are missing"}},
        {"printf '$coord\\n0 0 0 N\\n0 0 1 O\\n$end\\n' > xtbopt.coord", {"atoms are others"}},
        {"printf '$coord\\n0 0 0 C\\n0 NaN 1 O\\n$end\\n' > xtbopt.coord", {"no finite number"}},
        {"printf '$coord\\n0 0 0 C\\n0 x 1 O\\n$end\\n' > xtbopt.coord", {"is no atom"}},
        {"printf '$coord\\n0 0 0 C\\n0 0 1 O\\n0 0 2 H\\n0 0 3 H\\n' > xtbopt.coord", {"too many"}},
        {"printf '$coord\\n0 0 1 C\\n0 0 9 O\\n0 0 4 H\\n$end\\n' > xtbopt.coord",
         {"fixed atom C1 has moved by 1.5"}},
    };
    ConstrainedMolecule molecule;
    molecule.atoms = {{6, 0, {0, 0, 0}}, {8, 0, {0, 0, 1.1}}, {1, 0, {1, 0, 2}}};
    molecule.fixed = {0, 1};
    XtbOptions options;
    options.timeLimit = 0.5;
    for (const auto &[body, told] : cases) {
        SCOPED_TRACE(body);
        options.program = script(body);
        try {
            optimiseWithXtb(molecule, options);
            ADD_FAILURE() << "nothing was told";
        } catch (const Error &error) {
            for (const auto *part : told)
                EXPECT_TRUE(contains(error.what(), part)) << part << " in " << error.what();
            EXPECT_FALSE(contains(error.what(), "trace"));
        }
    }
    options.program = "no-such-program";
    EXPECT_THROW(optimiseWithXtb(molecule, options), Error);
    molecule.fixed = {2, 1, 0}; // nothing to do, so that xtb is not asked
    EXPECT_EQ(optimiseWithXtb(molecule, options).at(1).z, 1.1);
}

// ---- the programs themselves ------------------------------------------------------------------

class RealPrograms : public Programs {
protected:
    bool isInstalled(const char *program) {
        return runProgram(call("which", {program})).value == 0;
    }

    void runToTheEnd(const std::string &format, const std::string &text, const std::string &program,
                     std::vector<std::string> arguments) {
        std::ofstream(folder.file("input")) << text;
        auto one = call(program, std::move(arguments));
        one.environment = {{"OMP_NUM_THREADS", "1"},
                           {"OMPI_ALLOW_RUN_AS_ROOT", "1"},
                           {"OMPI_ALLOW_RUN_AS_ROOT_CONFIRM", "1"}};
        one.timeLimit = 100;
        const auto result = runProgram(one);
        ASSERT_EQ(result.end, ProgramEnd::exited) << format << " " << result.value << "\n" << log();
        ASSERT_EQ(result.value, 0) << format << "\n" << log();
    }

    // The atoms of an XYZ file that a program wrote.
    std::vector<StructureAtom> read(const std::string &name) const {
        auto atoms = enol().atoms;
        std::ifstream file(folder.file(name));
        std::string text;
        std::getline(file, text);
        std::getline(file, text);
        for (auto &[element, charge, at] : atoms) {
            std::getline(file, text);
            std::istringstream words(text);
            EXPECT_TRUE(words >> text >> at.x >> at.y >> at.z) << name << ": " << text;
        }
        return atoms;
    }
};

using RealXtb = RealPrograms;

TEST_F(RealXtb, MeetsTheTargets) {
    if (!isInstalled("xtb")) GTEST_SKIP() << "xtb is not installed";
    for (const auto &molecule : {enol(), enolWithFixedAtoms()}) {
        const auto atoms = placed(molecule.atoms, optimiseWithXtb(molecule, {}));
        expectOnTarget(molecule, atoms, 0.01, 0.5);
    }
    auto single = enol();
    single.fixed = {0, 1, 2, 4, 5, 6};
    single.constraints = {distance(2, 3, 1.3)};
    const auto atoms = placed(single.atoms, optimiseWithXtb(single, {}));
    EXPECT_NEAR(valueOf(single.constraints[0], atoms), 1.3, 0.02); // the fixed ones give, too
    single.atoms[3].position = single.atoms[2].position;
    EXPECT_THROW(optimiseWithXtb(single, {}), Error);
}

TEST_F(RealPrograms, NwchemMeetsTheTargets) {
    if (!isInstalled("nwchem")) GTEST_SKIP() << "nwchem is not installed";
    for (const auto &molecule : {enol(), enolWithFixedAtoms()}) {
        runToTheEnd("nwchem", constraintFile("nwchem", molecule), "nwchem", {"input"});
        std::string last;
        for (const auto &entry : fs::directory_iterator(folder.path())) {
            const auto name = entry.path().filename().string();
            if (name.starts_with("optimised-")) last = std::max(last, name);
        }
        expectOnTarget(molecule, read(last), 0.01, 5.0); // springs hold angles by a distance
        fs::remove_all(folder.path());
        fs::create_directory(folder.path());
    }
}

TEST_F(RealPrograms, Psi4MeetsTheTargets) {
    if (!isInstalled("psi4")) GTEST_SKIP() << "psi4 is not installed";
    const auto molecule = enolWithFixedAtoms();
    const auto writeResult = "get_active_molecule().save_xyz_file('optimised.xyz', False)\n";
    runToTheEnd("psi4", constraintFile("psi4", molecule) + writeResult, "psi4",
                {"-n", "1", "input", "output"});
    expectOnTarget(molecule, read("optimised.xyz"), 0.01, 0.5);
}

TEST_F(RealPrograms, AseMeetsTheTargetsWithAnyCalculator) {
    const std::string python = "/usr/bin/python3"; // Debian's, which has Debian's ASE
    if (runProgram(call(python, {"-c", "import ase"})).value != 0) {
        GTEST_SKIP() << "ASE is not installed";
    }
    for (const auto &molecule : {enol(), enolWithFixedAtoms()}) {
        auto text = constraintFile("ase", molecule);
        const auto calculator = text.find("atoms.calc");
        text.replace(calculator, text.find('\n', calculator) - calculator,
                     "from ase.calculators.emt import EMT\natoms.calc = EMT()");
        runToTheEnd("ase", text, python, {"input"});
        expectOnTarget(molecule, read("optimised.xyz"), 0.01, 1.0);
    }
}

// ---- searches for saddle points ---------------------------------------------------------------

// Near the transition state of HCN -> HNC, with a Hessian that has one negative eigenvalue.
SaddleGuess hcn(bool withHessian) {
    SaddleGuess guess;
    guess.title = "hcn";
    guess.atoms = {{6, 0, {0, 0, 0}}, {7, 0, {0, 0, 1.18}}, {1, 0, {0, 1.1, 0.3}}};
    guess.reactant = {{0, 0, 0}, {0, 0, 1.15}, {0, 0, -1.07}};
    guess.product = {{0, 0, 0}, {0, 0, 1.17}, {0, 0, 2.17}};
    if (!withHessian) return guess;
    guess.hessian.assign(81, 0.0);
    for (const std::size_t i : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u})
        guess.hessian[10 * i] = i == 8 ? -0.05 : 0.5;
    guess.hessian[8 * 9 + 7] = guess.hessian[7 * 9 + 8] = 0.01;
    return guess;
}

std::string textIn(const std::vector<InputText> &files, const std::string &suffix) {
    for (const auto &file : files)
        if (file.suffix == suffix) return file.text;
    return {};
}

TEST(SaddleInputs, HaveEachProgramsOwnWordsAndTheHessian) {
    struct Row {
        const char *program, *suffix;
        bool withHessian;
        std::vector<const char *> parts;
    };
    const Row rows[] = {
        {"orca", ".ts.orca.inp", false, {"! HF-3c OptTS NumFreq\n", "Calc_Hess true\n"}},
        {"orca", ".ts.orca.inp", true, {"InHess Read\n  InHessName \"saddle.hess\"\n", "xyz 0 1"}},
        {"orca",
         ".hess",
         true,
         {"$hessian\n9\n", "\n    7 ", "   1.0000000000E-02\n", "$atoms\n3\n C ", "2.0786"}},
        {"orca", ".neb.orca.inp", false, {"NEB-TS", "NEB_End_XYZFile \"saddle.product.xyz\""}},
        {"orca", ".product.xyz", false, {"3\nhcn\n"}},
        {"gaussian", ".ts.gjf", false, {"Opt=(TS,CalcFC,NoEigenTest) Freq", "\n\nhcn\n\n0 1\n"}},
        {"gaussian",
         ".ts.gjf",
         true,
         {"Opt=(TS,FCCards,NoEigenTest)", "  0.01000000 -0.05000000\n\n"}},
        {"gaussian", ".qst3.gjf", false, {"Opt=(QST3", "hcn reactant", "hcn product", "hcn guess"}},
        {"psi4", ".ts.psi4.dat", false, {"opt_type ts", "frequencies('scf')"}},
        {"nwchem", ".ts.nw", false, {"task scf freq\ndriver\n  inhess 2", "task scf saddle"}},
        {"nwchem", ".hess", true, {"   -5.0000000000E-02\n"}},
        {"ase", ".ts.ase.py", false, {"MinModeTranslate(dimer)"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.program) + row.suffix);
        const auto text = textIn(saddleInputs(row.program, hcn(row.withHessian)), row.suffix);
        for (const auto *part : row.parts)
            EXPECT_TRUE(contains(text, part)) << part << " in\n" << text;
    }
    auto alone = hcn(false);
    alone.product.clear();
    EXPECT_EQ(saddleInputs("gaussian", alone).size(), 1u);
    EXPECT_THROW(saddleInputs("xtb", alone), Error);
    alone.atoms[0].position.x = std::numeric_limits<double>::infinity();
    EXPECT_THROW(saddleInputs("orca", alone), Error);
}

class RealSaddleSearches : public RealPrograms {
protected:
    void search(const std::string &program, const SaddleGuess &guess, const std::string &command,
                const std::vector<std::string> &arguments) {
        if (!isInstalled(program.c_str())) GTEST_SKIP() << program << " is not installed";
        const auto files = saddleInputs(program, guess);
        for (const auto &[suffix, text] : files)
            std::ofstream(folder.file(guess.stem + suffix)) << text;
        runToTheEnd(program, files.front().text, command, arguments);
    }
};

TEST_F(RealSaddleSearches, NwchemFindsTheSaddleWithAndWithoutAHessian) {
    for (const bool withHessian : {false, true}) {
        search("nwchem", hcn(withHessian), "nwchem", {"input"});
        if (IsSkipped()) return;
        const auto text = log();
        const auto modes = text.find("P.Frequency ", text.find("Optimization converged"));
        ASSERT_NE(modes, std::string::npos) << text;
        // RHF/STO-3G, as psi4 has it; the optimiser's threshold leaves a wavenumber or two open.
        EXPECT_NEAR(std::stod(text.substr(modes + 12)), -1248.0, 3.0);
    }
}

TEST_F(RealSaddleSearches, Psi4FindsTheSaddle) {
    search("psi4", hcn(false), "psi4", {"-n", "1", "input", "output"});
    if (IsSkipped()) return;
    EXPECT_TRUE(contains(contentsOf(folder.file("output")), "Optimization is complete"));
    EXPECT_TRUE(contains(contentsOf(folder.file("output")), "1248."));
}

} // namespace
