// Makes the collection of verified saddles: docs/collection.md.

#include "collection/run.hpp"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

using namespace saddlefit::collection;

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw saddlefit::host::Error(path + " cannot be read");
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> moleculesIn(const std::string &path, int) {
    std::istringstream lines(contents(path));
    std::vector<std::string> molecules;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        for (std::string word; words >> word && word[0] != '#';)
            molecules.push_back(word);
    }
    return molecules;
}

int checkFamilies(const std::vector<Family> &families) {
    int faults = 0;
    for (const auto &family : families) {
        std::size_t good = 0;
        for (const auto &member : family.members) {
            try {
                proposalOf(moleculeFrom(withHydrogens(member.smiles), Embedding::none), member);
                ++good;
            } catch (const saddlefit::host::Error &error) {
                std::printf("%s: %s: %s\n", family.name.c_str(), member.name().c_str(),
                            error.what());
                ++faults;
            }
        }
        std::printf("%s: %zu of %zu members, quota %zu\n", family.name.c_str(), good,
                    family.members.size(), family.quota);
    }
    return faults == 0 ? 0 : 1;
}

int collect(int argc, char **argv) {
    CLI::App app{"Collects verified saddles of small molecules"};
    app.require_subcommand(1);
    RunOptions options;
    std::string data;
    auto *running = app.add_subcommand("run", "Go on with the work list where the state stands");
    running->add_option("--state", options.state, "Folder of the journal")->required();
    running->add_option("--data", data, "Folder with families.txt and molecules.txt")->required();
    running->add_option("--attempts", options.mostAttempts, "Stop after so many");
    running->add_option("--seed", options.work.seed, "Of all that is random");
    auto *checking = app.add_subcommand("families", "Say which members make no reaction");
    checking->add_option("--data", data, "Folder with families.txt")->required();
    CLI11_PARSE(app, argc, argv);

    const auto families = readFamilies(contents(data + "/families.txt"), options.work.seed);
    if (checking->parsed()) return checkFamilies(families);
    run(families, moleculesIn(data + "/molecules.txt", 0), options, [](const AttemptLine &line) {
        std::printf("%s\n", textOf(line).c_str());
        std::fflush(stdout);
    });
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    try {
        return collect(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "saddlefit-collect: %s\n", error.what());
        return 1;
    }
}
