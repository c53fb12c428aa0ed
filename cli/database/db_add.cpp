#include "saddlefit/reaction.h"

#include "cli/database/addition.hpp"
#include "cli/database/db_commands.hpp"
#include "cli/order_option.hpp"
#include "cli/report.hpp"
#include "host/reactions/doubts.hpp"
#include "host/reactions/electrons.hpp"
#include "host/search/search.hpp"
#include "host/store/database_writer.hpp"
#include "host/system/file_lock.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/record_guard.hpp"

#include <algorithm>
#include <cstdio>

namespace saddlefit::cli {

namespace {

struct AddOptions : DbOptions {
    ReactionFiles files;
    Orders orders = Orders::harmonised;
    PairOptions pairing;
    BareSideOptions bareSides;
    bool force = false;
};

struct NewRecord {
    std::string bytes;
    StoredRecord stored; // as it reads back
};

// The transition state is stored with its transition-state bonds, as a search will ask for it.
NewRecord recordOf(const Reaction &reaction) {
    const auto mol = startMolecule(reaction);
    C_startReaction(mol.get(), nullptr);
    if (auto bytes = recordBytes(*mol, reaction.geometryTitle)) {
        const auto reading = readRecord(*bytes);
        if (const auto *stored = std::get_if<StoredRecord>(&reading)) return {*bytes, *stored};
    }
    throw Error(ErrorKind::limit, "the record cannot be stored; it may have more than 65535 atoms "
                                  "or bonds, or too long a title")
        .at(reaction.reactant.origin);
}

std::string joined(const std::vector<std::string> &phrases) {
    std::string text;
    for (const auto &phrase : phrases)
        text += (text.empty() ? "" : "; ") + phrase;
    return text;
}

// Broken and formed bonds together, in angstrom.
double lengthOfChanges(const Reaction &reaction) {
    double sum = 0.0;
    for (const auto &[atoms, before, after] : reaction.changes) {
        if (before != 0 && after != 0) continue;
        sum += distanceBetween(reaction.coordinates[static_cast<std::size_t>(atoms.first)],
                               reaction.coordinates[static_cast<std::size_t>(atoms.second)]);
    }
    return sum;
}

// Of several ways to pair the atoms the one that the transition state itself shows.
Reaction tightest(const std::vector<Reaction> &pairings) {
    return *std::min_element(pairings.begin(), pairings.end(),
                             [](const Reaction &a, const Reaction &b) {
                                 return lengthOfChanges(a) < lengthOfChanges(b);
                             });
}

// Takes the records of the files into a database, one by one.
class Adding {
public:
    Adding(const AddOptions &options, DatabaseWriter &writer)
        : options_(options),
          reader_(options.files, Start::file, options.orders, options.pairing, options.bareSides),
          index_(options.database),
          writer_(writer) {}

    void addAll() {
        for (std::size_t i = 0; i < reader_.count(); ++i) {
            try {
                add(tightest(reader_.read(i)));
            } catch (const Error &error) {
                report(error);
                refuse(reader_.title(i), {messageOf(error)});
            }
        }
    }

    bool hasRefused() const { return !refused_.empty(); }
    std::size_t count() const { return stored_.size(); }

    void print() const {
        if (options_.json) {
            printJson({{"file", options_.database}, {"stored", stored_}, {"refused", refused_}});
            return;
        }
        for (const auto &entry : stored_) {
            std::printf("%s\t%s\n", entry["name"].get_ref<const std::string &>().c_str(),
                        entry["code"].get_ref<const std::string &>().c_str());
        }
        std::printf("%zu stored in %s", stored_.size(), options_.database.c_str());
        if (hasRefused()) std::printf(", %zu refused", refused_.size());
        std::printf("\n");
    }

private:
    void add(const Reaction &reaction) {
        auto doubts = doubtsAbout(reaction.reactant, reaction.product);
        if (!reaction.reactant.namesBonds || !reaction.product.namesBonds) {
            const auto electrons =
                electronsOf(reaction.reactant, reaction.product, {options_.bareSides.charge, {}});
            for (const auto &[text, remedy] : electrons.doubts)
                report(Error("warning: " + text).with(remedy).at(reaction.reactant.origin));
        }
        doubts.insert(doubts.begin(), reaction.pairingNotes.begin(), reaction.pairingNotes.end());
        for (const auto &doubt : doubts)
            report(Error("warning: " + doubt).at(reaction.reactant.origin));
        const auto record = recordOf(reaction);
        auto objections = implausibilities(reaction);
        if (const auto same = index_.find(record.stored, reaction)) {
            objections.push_back("the same transition state is stored as " + inOneLine(*same));
        }
        if (!objections.empty()) reportObjections(reaction, objections);
        if (!objections.empty() && !options_.force) {
            refuse(reaction.geometryTitle, objections);
            return;
        }
        writer_.place(record.bytes);
        index_.add(record.stored, record.bytes);
        stored_.push_back({{"name", reaction.geometryTitle},
                           {"code", codeInSymbols(record.stored.code.data())},
                           {"warnings", objections}});
    }

    void refuse(const std::string &name, const std::vector<std::string> &reasons) {
        refused_.push_back({{"name", name}, {"reasons", reasons}});
    }

    void reportObjections(const Reaction &reaction,
                          const std::vector<std::string> &objections) const {
        const Place origin{options_.files.geometries, reaction.number, reaction.geometryTitle};
        const auto text = joined(objections);
        report(Error(options_.force ? "warning: " + text
                                    : "not stored: " + text +
                                          "; correct the record or leave it out, or store it all "
                                          "the same with --force")
                   .at(origin));
    }

    const AddOptions &options_;
    ReactionReader reader_;
    DuplicateIndex index_;
    DatabaseWriter &writer_;
    Json stored_ = Json::array(), refused_ = Json::array();
};

/// Add, and tell of it once the file is as it is to be.
template <class Tell> auto added(const AddOptions &options, const Tell &tell) {
    const FileLock lock(options.database, IfMissing::makeIt, reportingOfWait(options.database));
    // First: a folder without room or rights ends all at once.
    DatabaseWriter writer(options.database);
    Adding adding(options, writer);
    adding.addAll();
    writer.commit();
    return tell(adding);
}

int add(const AddOptions &options) {
    return added(options, [](const Adding &adding) {
        adding.print();
        return adding.hasRefused() ? somethingFailed : allDone;
    });
}

} // namespace

std::size_t addRecords(const std::string &database, const ReactionFiles &files) {
    AddOptions options;
    options.database = database;
    options.files = files;
    return added(options, [](const Adding &adding) { return adding.count(); });
}

void addDbAddCommand(CLI::App &db, Action &chosen) {
    const auto [command, options] =
        addDbSubcommand(db, chosen, "add", "Store transition states; makes a missing file", add);
    addArgument(command, "REACTANTS", options.files.reactants, "File with the reactants");
    addArgument(command, "PRODUCTS", options.files.products, "File with the products");
    addArgument(command, "TS", options.files.geometries,
                "File with the transition states; its coordinates are stored");
    addInputFormatOption(command, options.files.format);
    addOrdersOption(command, options.orders);
    addPairingOptions(command, options.pairing);
    addBareSideOptions(command, options.bareSides);
    command.add_flag("--force", options.force,
                     "Store records that are refused otherwise; they are reported all the same");
    command.footer(
        "Record i of the three files is one reaction. It "
        "is\n"
        "stored under the transition state's title. Refused is a record in which a made or broken\n"
        "bond is not 1.03 to 2.0 single bonds long, or two atoms are closer than 0.6 angstrom, "
        "and\n"
        "one that is stored already.\n\n"
        "Example:\n"
        "  saddlefit db add reactions.db reactants.sdf products.sdf ts.sdf");
}

} // namespace saddlefit::cli
