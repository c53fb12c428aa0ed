/// The program that holds Open Babel, and what becomes of the host when it misbehaves.
#include "host/structures/babel.hpp"
#include "host/structures/reader.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace saddlefit;
using namespace saddlefit::host;
using namespace std::chrono_literals;

std::string script(const std::string &name, const std::string &body) {
    const auto path = fs::path(testing::TempDir()) / (name + std::to_string(getpid()));
    std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
    fs::permissions(path, fs::perms::owner_all);
    return path.string();
}

ErrorKind kindOf(const std::function<void()> &ask) {
    try {
        ask();
    } catch (const Error &error) {
        EXPECT_GT(std::string(error.what()).size(), 40U) << "says what to do";
        return error.kind();
    }
    ADD_FAILURE() << "no error";
    return ErrorKind::program;
}

babel::Molecule parsed(Babel &open, const std::string &smiles, bool embeds = false) {
    return open.parseSmiles({smiles, true, embeds});
}

std::string canonical(Babel &open, const babel::Molecule &molecule) {
    return open.writeSmiles({molecule, false});
}

// Every cut and thousands of damaged copies of a message are read or refused, never more.
TEST(BabelProtocol, RefusesDamagedBytes) {
    babel::Molecule molecule;
    molecule.title = "a title";
    molecule.dataFields = {{"name", "value"}};
    molecule.atoms.resize(5);
    molecule.bonds.resize(4);
    molecule.aromaticRings = {{{0, 1}, {1, 2}}};
    molecule.centres.resize(1);
    const auto bytes = babel::encoded(molecule);
    EXPECT_EQ(babel::encoded(babel::decoded<babel::Molecule>(bytes)), bytes);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        EXPECT_THROW(babel::decoded<babel::Molecule>(std::string_view(bytes).substr(0, size)),
                     babel::ProtocolError);
    }
    EXPECT_THROW(babel::decoded<babel::Molecule>(bytes + "x"), babel::ProtocolError);
    std::mt19937 random(7);
    int refused = 0;
    for (int turn = 0; turn < 20000; ++turn) {
        auto damaged = bytes;
        for (int i = 0; i < 3; ++i)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        try {
            babel::decoded<babel::Molecule>(damaged);
        } catch (const babel::ProtocolError &) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 1000);
    const auto of = [](std::uint32_t magic, std::uint32_t kind, std::uint64_t size) {
        return babel::FrameHeader{magic, kind, size};
    };
    for (const auto &header : {of(0, 1, 1), of(babel::protocolMagic, 99, 1),
                               of(babel::protocolMagic, 1, std::uint64_t{1} << 40)})
        EXPECT_THROW(babel::checkHeader(header), babel::ProtocolError);
}

TEST(BabelProgram, IsNotWhatItShouldBe) {
    struct Row {
        const char *name, *body;
        ErrorKind kind;
    };
    for (const auto &[name, body, kind] :
         {Row{"unloadable", "exit 127", ErrorKind::noProgram},
          Row{"talker", "echo hello world, this is no frame >&0; sleep 9", ErrorKind::program},
          Row{"silent", "exec sleep 99", ErrorKind::limit}}) {
        Babel open(script(name, body), {500ms});
        EXPECT_EQ(kindOf([&] { open.formats(); }), kind) << name;
    }
    Babel open("/nowhere/saddlefit-babel");
    EXPECT_EQ(kindOf([&] { open.formats(); }), ErrorKind::noProgram);
}

class Program : public testing::Test {
protected:
    void SetUp() override {
        if (Babel::findProgram().empty()) GTEST_SKIP() << "built without Open Babel";
    }
    Babel open;
};

TEST_F(Program, DiesInEachWayAndIsReplaced) {
    EXPECT_EQ(canonical(open, parsed(open, "OCC")), "CCO");
    const int first = open.process();
    Babel narrow({}, {60s, std::uint64_t{4} << 30, std::uint64_t{1} << 20});
    EXPECT_EQ(kindOf([&] {
                  narrow.parseSmiles({std::string(200'000, 'C'), false, false});
              }),
              ErrorKind::program)
        << "its stack overflows";
    EXPECT_EQ(canonical(narrow, parsed(narrow, "OCC")), "CCO");
    int before = 0;
    EXPECT_EQ(kindOf([&] {
                  narrow.read({"x.smi", "C\nCC\n" + std::string(200'000, 'C') + "\nC\n", true},
                              [&](auto) { ++before; });
              }),
              ErrorKind::program);
    EXPECT_EQ(before, 2) << "the third record is the one to blame";

    kill(first, SIGKILL);
    EXPECT_EQ(kindOf([&] { parsed(open, "C"); }), ErrorKind::program);
    EXPECT_EQ(canonical(open, parsed(open, "OCC")), "CCO");
    EXPECT_NE(open.process(), first);
    EXPECT_EQ(waitpid(first, nullptr, WNOHANG), -1) << "no zombie";

    std::thread killer([&, process = open.process()] {
        std::this_thread::sleep_for(100ms);
        kill(process, SIGSTOP);
    });
    open.setLimits({700ms});
    EXPECT_EQ(kindOf([&] {
                  for (;;)
                      parsed(open, "C1CC1");
              }),
              ErrorKind::limit);
    killer.join();
    EXPECT_EQ(canonical(open, parsed(open, "OCC")), "CCO");

#ifndef SADDLEFIT_SANITIZED // whose shadow memory no limit of the address space allows
    open.setLimits({60s, std::uint64_t{300} << 20});
    try {
        open.read({"x.mol2", std::string(200U << 20, 'x'), true}, {});
        ADD_FAILURE() << "there is room for it";
    } catch (const Error &error) {
        EXPECT_EQ(std::string(error.what()).find("no answer within"), std::string::npos);
    }
    EXPECT_EQ(canonical(open, parsed(open, "OCC")), "CCO");
#endif
}

TEST_F(Program, ServesAForkAndThreads) {
    parsed(open, "C");
    const auto child = fork();
    if (child == 0) _exit(canonical(open, parsed(open, "OCC")) == "CCO" ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 20; ++turn)
                EXPECT_EQ(parsed(open, "CCO").atoms.size(), 9U);
        });
    }
    for (auto &thread : threads)
        thread.join();
}

TEST_F(Program, KeepsWhatASmilesSays) {
    for (const char *smiles : {"C[C@H](O)N", "C[C@@H](O)N", "C/C=C/C", "C/C=C\\C"}) {
        const auto flat = parsed(open, smiles);
        EXPECT_EQ(flat.centres.size() + flat.doubleBonds.size(), 1U) << smiles;
        auto embedded = parsed(open, smiles, true);
        EXPECT_EQ(canonical(open, flat), canonical(open, parsed(open, canonical(open, flat))));
        embedded.centres.clear(); // now the coordinates alone have to say it
        embedded.doubleBonds.clear();
        EXPECT_EQ(canonical(open, embedded), canonical(open, flat)) << smiles;
    }
    const auto mapped = parsed(open, "[CH3:7][OH].[Na+].[Cl-]", true);
    EXPECT_EQ(mapped.atoms.front().mapNumber, 7);
    EXPECT_EQ(mapped.atoms.size(), 8U);
    for (std::size_t a = 0; a < mapped.atoms.size(); ++a) {
        for (std::size_t b = 0; b < a; ++b) {
            double square = 0;
            for (std::size_t axis = 0; axis < 3; ++axis)
                square +=
                    std::pow(mapped.atoms[a].position[axis] - mapped.atoms[b].position[axis], 2);
            EXPECT_GT(square, 0.5) << a << " and " << b;
        }
    }
    EXPECT_EQ(open.match({parsed(open, "OCCO"), "[OX2H]", 10}).size(), 2U);
}

TEST_F(Program, FindsBondsAndCharges) {
    struct Row {
        const char *smiles;
        int charge;
    };
    for (const auto &[smiles, charge] : {Row{"CC(=O)[O-]", -1}, Row{"C[NH3+]", 1}, Row{"C=O", 0},
                                         Row{"C#N", 0}, Row{"[OH-]", -1}}) {
        auto molecule = parsed(open, smiles, true);
        const auto wanted = canonical(open, molecule);
        const auto found = open.perceiveBonds({molecule, charge});
        EXPECT_EQ(canonical(open, found), wanted) << smiles;
    }
    for (const auto &atom : open.perceiveBonds({parsed(open, "C", true), 5}).atoms)
        EXPECT_EQ(atom.charge, 0) << "no drawing carries five charges";
}

TEST_F(Program, ReadsWhatItWrites) {
    std::vector<babel::Molecule> molecules(2000, parsed(open, "c1ccccc1O", true));
    for (std::size_t i = 0; i < molecules.size(); ++i)
        molecules[i].title = "m" + std::to_string(i);
    for (const char *format : {"mol2", "cml", "smi"}) {
        const auto bytes = open.write({format, molecules});
        std::vector<babel::Molecule> back;
        open.read({"", bytes, true, format}, [&](auto one) { back.push_back(std::move(one)); });
        ASSERT_EQ(back.size(), molecules.size()) << format;
        EXPECT_EQ(back[1999].title, "m1999");
        EXPECT_EQ(canonical(open, back[7]), "Oc1ccccc1") << format;
    }
    const auto pdb = open.write({"pdb", {molecules[0]}});
    open.read({"x.pdb", pdb, true}, [&](auto one) { EXPECT_EQ(one.atoms.size(), 13U); });
    EXPECT_EQ(kindOf([&] { open.write({"unheard", molecules}); }), ErrorKind::input);
    EXPECT_GT(open.formats().size(), 100U);
}

} // namespace
