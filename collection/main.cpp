// Makes the collection of verified saddles: docs/collection.md.

#include "collection/run.hpp"
#include "collection/shipping.hpp"
#include "collection/verification.hpp"
#include "collection/withdrawals.hpp"
#include "host/reactions/reaction_files.hpp"
#include "host/structures/units.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>

namespace {

using namespace saddlefit::collection;

struct Options {
    RunOptions run;
    std::string data;     ///< folder of families.txt, molecules.txt and what is shipped
    std::string pictures; ///< folder of one for each family
    std::size_t count = 100;
};

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw Error(path + " cannot be read");
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> moleculesOf(const std::string &path) {
    std::istringstream lines(contents(path));
    std::vector<std::string> molecules;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        for (std::string word; words >> word && word[0] != '#';)
            molecules.push_back(word);
    }
    return molecules;
}

std::vector<Family> familiesOf(const Options &options) {
    return readFamilies(contents(options.data + "/families.txt"), options.run.work.seed);
}

int collect(const Options &options) {
    run(familiesOf(options), moleculesOf(options.data + "/molecules.txt"), options.run,
        [](const AttemptLine &line) {
            std::printf("%s\n", textOf(line).c_str());
            std::fflush(stdout);
        });
    return 0;
}

int checkFamilies(const Options &options) {
    int faults = 0;
    for (const auto &family : familiesOf(options)) {
        for (const auto &member : family.members) {
            try {
                proposalOf(moleculeFrom(withHydrogens(member.smiles), Embedding::none), member);
            } catch (const Error &error) {
                ++faults;
                std::printf("%s: %s\n", family.name.c_str(), error.what());
            }
        }
        std::printf("%s: %zu members, quota %zu\n", family.name.c_str(), family.members.size(),
                    family.quota);
    }
    return faults == 0 ? 0 : 1;
}

/// The objects of a file of JSON lines.
std::vector<Json> objectsOf(const std::string &path) {
    std::vector<Json> objects;
    std::istringstream lines(contents(path));
    for (std::string line; std::getline(lines, line);)
        objects.push_back(Json::parse(line));
    return objects;
}

ReactionFiles shippedFiles(const Options &options) {
    ReactionFiles files;
    files.reactants = options.data + "/reactants.sdf";
    files.products = options.data + "/products.sdf";
    files.geometries = options.data + "/ts.sdf";
    return files;
}

/// What goes into the collection: all that a database of it has nothing against.
std::vector<ShippedRecord> shipSound(const Options &options, const Journal &journal,
                                     Withdrawals &withdrawn) {
    for (;;) {
        auto shipped = shippedFrom(journal, withdrawn.reasons());
        ship(shipped, options.data, options.run.work.seed);
        const auto faults = faultsAsDatabase(shipped, shippedFiles(options), options.run.state);
        if (faults.empty()) return shipped;
        for (const auto &[hash, reason] : faults)
            withdrawn.add(hash, reason);
    }
}

int writeCollection(const Options &options) {
    const Journal journal(options.run.state);
    Withdrawals withdrawn(options.run.state);
    const auto shipped = shipSound(options, journal, withdrawn);
    if (!options.pictures.empty()) shipPictures(shipped, options.pictures);
    std::printf("%s", tableOf(journal, shipped, withdrawn.reasons()).c_str());
    return 0;
}

/// What is wrong with a shipped reaction and its side record; empty if nothing is.
std::string faultIn(const Reaction &reaction, const Json &side) {
    std::vector<int> elements;
    Eigen::VectorXd saddle(static_cast<Eigen::Index>(3 * reaction.coordinates.size()));
    for (std::size_t atom = 0; atom < reaction.coordinates.size(); ++atom) {
        const auto &[x, y, z] = reaction.coordinates[atom];
        elements.push_back(reaction.reactant.atoms[atom].element);
        saddle.segment<3>(static_cast<Eigen::Index>(3 * atom)) =
            Eigen::Vector3d(x, y, z) / angstromPerBohr;
    }
    return faultOf(elements, side.at("charge"), saddle, side.at("energy_hartree"), side.at("hash"));
}

/// Of the records, `count` that the seed chooses.
int verify(const Options &options) {
    const ReactionReader reader(shippedFiles(options), Start::file, Orders::drawn,
                                {PairBy::order, {}});
    const auto sides = objectsOf(options.data + "/records.jsonl");
    if (sides.empty()) throw Error("there are no records in " + options.data);
    std::optional<Withdrawals> withdrawn;
    if (!options.run.state.empty()) withdrawn.emplace(options.run.state);
    Random random(options.run.work.seed);
    std::set<std::size_t> chosen;
    while (chosen.size() < std::min(options.count, sides.size()))
        chosen.insert(static_cast<std::size_t>(random.next() % sides.size()));
    int faults = 0;
    for (const auto index : chosen) {
        const auto fault = faultIn(reader.read(index).front(), sides[index]);
        faults += fault.empty() ? 0 : 1;
        if (withdrawn && !fault.empty())
            withdrawn->add(sides[index].at("hash"), fault + " when it was checked anew");
        std::printf("%s: %s\n", sides[index].at("name").get<std::string>().c_str(),
                    fault.empty() ? "as it was" : fault.c_str());
        std::fflush(stdout);
    }
    std::printf("%zu checked, %d with a fault\n", chosen.size(), faults);
    return faults == 0 ? 0 : 1;
}

int chosen(int argc, char **argv) {
    CLI::App app{"Collects verified saddles of small molecules"};
    app.require_subcommand(1);
    Options options;
    const auto command = [&](const char *name, const char *what, bool needsState) {
        auto *sub = app.add_subcommand(name, what);
        if (needsState)
            sub->add_option("--state", options.run.state, "Folder of the journal")->required();
        sub->add_option("--data", options.data, "Folder of families, molecules and records")
            ->required();
        sub->add_option("--seed", options.run.work.seed, "Of all that is random");
        return sub;
    };
    auto *running = command("run", "Go on with the work list where the journal stands", true);
    running->add_option("--attempts", options.run.mostAttempts, "Stop after so many");
    auto *shipping = command("ship", "Write the collection, and its table to the output", true);
    shipping->add_option("--pictures", options.pictures, "Folder for one of each family");
    auto *families = command("families", "Check that all members of families are reactions", false);
    auto *verifying = command("verify", "Check some of the records anew", false);
    verifying->add_option("--count", options.count, "How many");
    verifying->add_option("--state", options.run.state, "Journal that withdraws what fails");
    CLI11_PARSE(app, argc, argv);

    if (*running) return collect(options);
    if (*shipping) return writeCollection(options);
    return *families ? checkFamilies(options) : verify(options);
}

} // namespace

int main(int argc, char **argv) {
    try {
        return chosen(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "saddlefit-collect: %s\n", error.what());
        return 1;
    }
}
