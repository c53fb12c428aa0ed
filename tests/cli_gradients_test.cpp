// Energies and gradients of other programs, which scripts play, and of those that are installed.
#include "host/programs/gradient_text.hpp"
#include "host/saddle/method.hpp"
#include "host/system/error.hpp"
#include "host/system/process.hpp"
#include "tests/command_line.hpp"

#include <filesystem>
#include <regex>

namespace {

using namespace saddlefit::host;
using namespace saddlefit::test;

class Gradients : public CommandLineTest {
protected:
    std::string script(const std::string &body) const {
        write("script", "#!/bin/sh\n" + body + "\n");
        std::filesystem::permissions(file("script"), std::filesystem::perms::owner_all);
        return file("script");
    }
};

// Near the saddle of HCN -> HNC, as NWChem (RHF/STO-3G) and MOPAC (PM7) print it; in the manner of
// the manuals of ORCA and Gaussian the same as NWChem's.
TEST(GradientText, IsReadInEachProgramsUnits) {
    struct Row {
        const char *name;
        EnergyAndGradient (*read)(const std::string &);
        const char *text;
        double energy, last;
    };
    const Row rows[] = {
        {"nwchem", nwchemGradientIn,
         "         Total SCF energy =    -91.559837120779\n"
         "                         RHF ENERGY GRADIENTS\n\n"
         "    atom               coordinates                        gradient\n"
         "                 x          y          z           x          y          z\n"
         "   1 C       0.000000   0.000000   0.000000    0.000000   0.022738   0.091472\n"
         "   2 N       0.000000   0.000000   2.229877   -0.000000   0.015351  -0.097547\n"
         "   3 H       0.000000   2.078699   0.566918    0.000000  -0.038089   0.006074\n\n",
         -91.559837120779, 0.006074},
        {"orca", engradIn,
         "#\n# Number of atoms\n#\n 3\n#\n# The current total energy in Eh\n#\n   "
         "-91.559837120779\n"
         "#\n# The current gradient in Eh/bohr\n#\n 0.0\n 0.022738\n 0.091472\n -0.0\n 0.015351\n"
         " -0.097547\n 0.0\n -0.038089\n 0.006074\n#\n# The atomic numbers and coordinates\n#\n"
         "   6 0.0 0.0 0.0\n",
         -91.559837120779, 0.006074},
        {"gaussian", gaussianGradientIn,
         " SCF Done:  E(RHF) =  -91.5598371208     A.U. after    9 cycles\n"
         " Center     Atomic                   Forces (Hartrees/Bohr)\n"
         " Number     Number              X              Y              Z\n"
         " -------------------------------------------------------------------\n"
         "      1        6           0.000000000   -0.022738000   -0.091472000\n"
         "      2        7           0.000000000   -0.015351000    0.097547000\n"
         "      3        1           0.000000000    0.038089000   -0.006074000\n"
         " -------------------------------------------------------------------\n",
         -91.5598371208, 0.006074},
        {"gaussian mp2", gaussianGradientIn,
         " SCF Done:  E(RHF) =  -91.5     A.U. after    9 cycles\n"
         " E2 =    -0.1500000000D+00 EUMP2 =    -0.91650000000000D+02\n",
         -91.65, 0},
        {"mopac", mopacGradientIn,
         " HEAT_OF_FORMATION:KCAL/MOL=+0.122110847355252D+03\n GRADIENTS:KCAL/MOL/ANGSTROM[09]=\n"
         "   0.0000000386541  36.6909037173290  51.3175721706761   0.0000000274893\n"
         "  48.8490174545381 -80.3871783135326   0.0000000137208 -85.5399213223849\n"
         "  29.0696057984216\n OVERLAP_MATRIX[045]=\n   1.0\n",
         0.194596, 0.0245145}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const auto [energy, gradient] = row.read(row.text);
        EXPECT_NEAR(energy, row.energy, 1e-6);
        if (row.last != 0) {
            ASSERT_EQ(gradient.size(), 9u);
            EXPECT_NEAR(gradient.back(), row.last, 1e-6);
        }
    }
}

TEST(GradientText, IsWrittenInEachProgramsWords) {
    const GradientJob first{"b3lyp/sto-3g", -1, 1, {{1, 0, {0, 0, 0.5}}}, false};
    auto next = first;
    next.goesOn = true;
    const std::pair<std::string, const char *> rows[] = {
        {orcaGradientInput(first), "! b3lyp/sto-3g EnGrad\n* xyz -1 2\nH "},
        {gaussianGradientInput(next),
         "#P b3lyp/sto-3g Force NoSymm Guess=Read\n\ngradient\n\n-1 2\n"},
        {psi4GradientInput(first), "set reference uhf\ngradient('b3lyp/sto-3g')\n"},
        {nwchemGradientInput(next), "dft\n  xc b3lyp\n"},
        {nwchemGradientInput(next), "  mult 2\n  vectors input molecule.movecs\nend\ntask dft"},
        {mopacGradientInput({"PM7", -1, 1, first.atoms, false}), "CHARGE=-1 UHF MS=0.5\n"},
        {xyzWithElectrons(first), "1\ncharge=-1 uhf=1\nH "}};
    for (const auto &[text, part] : rows)
        EXPECT_TRUE(contains(text, part)) << part << " in\n" << text;
    for (const char *name :
         {"gfn3", "psi4", "psi4:", "psi4:hf'/sto-3g", "psi4:hf\n/sto-3g", "nwchem:hf", "abacus:x"})
        EXPECT_THROW(requireMethodName(name), Error) << name;
}

TEST_F(Gradients, OfACommandAreTakenAndItsFailuresTold) {
    const std::string result = "echo '# atoms' > molecule.engrad; echo '2 -1.5 0 0 0.25 0 0 -0.25' "
                               ">> molecule.engrad";
    struct Row {
        std::string body;
        ErrorKind kind;
        const char *told;
    };
    const Row rows[] = {
        {"echo start; echo 'FATAL: no basis'; echo end; exit 3", ErrorKind::program,
         "status 3; check method, charge and unpaired electrons; it said at the end: FATAL: no"},
        {"kill -9 $$", ErrorKind::program, "signal 9"},
        {"sleep 5", ErrorKind::limit, "longer than 0.5 s"},
        {"echo done", ErrorKind::program, "no energy with a gradient"},
        {"echo 2 -1.5 0 0 0.25 > molecule.engrad", ErrorKind::program, "no energy"},
        {"echo 2 nan 0 0 0.25 0 0 -0.25 > molecule.engrad", ErrorKind::program, "no energy"}};
    const Eigen::VectorXd at = (Eigen::VectorXd(6) << 0, 0, 0, 0, 0, 1.4).finished();
    for (const auto &row : rows) {
        SCOPED_TRACE(row.body);
        const auto surface = surfaceOf({{1, 1}, 0, 0}, {"command:" + script(row.body), 0.5});
        try {
            surface->at(at);
            ADD_FAILURE() << "nothing was told";
        } catch (const Error &error) {
            EXPECT_EQ(error.kind(), row.kind);
            EXPECT_TRUE(contains(error.what(), row.told)) << error.what();
        }
    }
    // One that fails where a run before has left something.
    const auto once =
        "test -e left && exit 1; touch left; grep -q charge=1 molecule.xyz || exit 2; ";
    const auto surface = surfaceOf({{1, 1}, 1, 1}, {"command:" + script(once + result)});
    for (int run = 0; run < 2; ++run) {
        const auto value = surface->at(at);
        EXPECT_EQ(value.energy, -1.5);
        EXPECT_EQ(value.gradient[2], 0.25);
    }
    EXPECT_THROW(requireMethod({"command:no-such-program"}), Error);
}

class RealGradients : public Gradients,
                      public testing::WithParamInterface<std::pair<const char *, double>> {};

// The imaginary mode, cm-1. RHF/STO-3G: of the programs' own searches and frequency jobs; PM7: by
// MOPAC's keywords TS and FORCE.
TEST_P(RealGradients, LeadOverHydrogenCyanide) {
    const auto [method, wavenumber] = GetParam();
    try {
        requireMethod({method});
    } catch (const Error &error) {
        GTEST_SKIP() << error.what();
    }
    const std::string atoms = "3\n\nC 0 0 0\nN 0 0 1.18\n";
    write("guess.xyz", atoms + "H 0 1.1 0.3\n");
    const auto answer = run("saddle guess.xyz --method " + std::string(method));
    std::smatch found;
    const std::regex line("verified\t.*\t(\\S+)i cm-1");
    ASSERT_TRUE(std::regex_search(answer.out, found, line)) << answer.out << answer.err;
    EXPECT_NEAR(std::stod(found[1]), wavenumber, 5.0);
}
INSTANTIATE_TEST_SUITE_P(Programs, RealGradients,
                         testing::Values(std::pair{"psi4:hf/sto-3g", 1248.0},
                                         std::pair{"nwchem:hf/sto-3g", 1248.0},
                                         std::pair{"mopac:PM7", 1389.7}));

} // namespace
