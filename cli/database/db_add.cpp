#include "cli/database/addition.hpp"
#include "cli/database/db_commands.hpp"
#include "cli/database/own_ends.hpp"
#include "cli/order_option.hpp"
#include "cli/report.hpp"
#include "cli/saddle_options.hpp"
#include "host/reactions/doubts.hpp"
#include "host/reactions/electrons.hpp"
#include "host/system/file_lock.hpp"
#include "host/system/output_file.hpp"
#include "host/system/temporary_folder.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/intake.hpp"
#include "host/upkeep/known_facts.hpp"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>

namespace saddlefit::cli {

namespace {

struct AddOptions : DbOptions {
    ReactionFiles files;
    Orders orders = Orders::harmonised;
    PairOptions pairing;
    BareSideOptions bareSides;
    SideRecord known;
    SaddleOptions saddle; // with which ends are looked for
    bool force = false;
};

constexpr const char *unreadable = "no reaction could be read";
constexpr const char *withoutReaction = "no saddle point of a reaction";

std::vector<std::string> textsOf(const std::vector<Objection> &objections) {
    std::vector<std::string> texts;
    for (const auto &objection : objections)
        texts.push_back(objection.text);
    return texts;
}

std::string joined(const std::vector<Objection> &objections) {
    std::string text;
    for (const auto &objection : objections)
        text += (text.empty() ? "" : "; ") + objection.text;
    return text;
}

// Of today, or of the moment that the environment names for builds that can be repeated.
std::string today() {
    using namespace std::chrono;
    auto now = system_clock::now();
    if (const char *epoch = std::getenv("SOURCE_DATE_EPOCH"))
        now = system_clock::time_point(seconds(std::strtoll(epoch, nullptr, 10)));
    const year_month_day date(floor<days>(now));
    return formatted("%04d-%02u-%02u", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
}

// Takes the records of the files into a database, one by one.
class Adding {
public:
    Adding(const AddOptions &options, Intake &intake)
        : options_(options),
          reader_(options.files, Start::file, options.orders, options.pairing, options.bareSides),
          known_(options.known),
          intake_(intake) {
        if (known_.date.empty()) known_.date = today();
    }

    void addAll() {
        for (std::size_t i = 0; i < reader_.count(); ++i) {
            try {
                add(tightest(reader_.read(i)));
            } catch (const Error &error) {
                report(error);
                refuse(reader_.title(i), {messageOf(error)});
                ++reasons_[unreadable];
            }
        }
    }

    bool hasRefused() const { return !refused_.empty(); }
    std::size_t count() const { return stored_.size(); }

    void refuse(const std::string &name, const std::vector<std::string> &reasons) {
        refused_.push_back({{"name", name}, {"reasons", reasons}});
    }
    void refuseWithoutReaction(const std::vector<std::string> &names) {
        for (const auto &name : names)
            refuse(name, {withoutReaction});
        if (!names.empty()) reasons_[withoutReaction] = names.size();
    }

    void print() const {
        if (options_.json) {
            printJson({{"file", options_.database},
                       {"stored", stored_},
                       {"refused", refused_},
                       {"reasons", reasons_}});
            return;
        }
        for (const auto &entry : stored_) {
            std::printf("%s\t%s%s\n", entry["name"].get_ref<const std::string &>().c_str(),
                        entry["code"].get_ref<const std::string &>().c_str(),
                        entry["lastResort"].get<bool>() ? "\tlast resort" : "");
        }
        std::printf("%zu stored in %s", stored_.size(), options_.database.c_str());
        if (lastResorts_ > 0) std::printf(", %zu of them as a last resort", lastResorts_);
        if (hasRefused()) std::printf(", %zu refused", refused_.size());
        std::printf("\n");
        for (const auto &[reason, count] : reasons_)
            std::printf("  %zu: %s\n", count, reason.c_str());
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
        const auto result = intake_.take(reaction, knownFactsOf(reaction, known_));
        if (!result.objections.empty()) reportObjections(reaction, result);
        countReasons(result);
        if (result.became == Intaken::refused) {
            refuse(reaction.geometryTitle, textsOf(result.objections));
            return;
        }
        const bool lastResort = result.became == Intaken::lastResort;
        if (lastResort) ++lastResorts_;
        stored_.push_back({{"name", reaction.geometryTitle},
                           {"code", codeInSymbols(result.code.data())},
                           {"lastResort", lastResort},
                           {"warnings", textsOf(result.objections)}});
    }

    // Each once per record.
    void countReasons(const IntakeResult &result) {
        std::set<std::string> words;
        for (const auto &objection : result.objections)
            words.insert(wordOf(objection.kind));
        for (const auto &word : words)
            ++reasons_[word];
    }

    void reportObjections(const Reaction &reaction, const IntakeResult &result) const {
        const Place origin{options_.files.geometries, reaction.number, reaction.geometryTitle};
        const auto text = joined(result.objections);
        switch (result.became) {
        case Intaken::stored:
            return report(Error("warning: " + text).at(origin));
        case Intaken::lastResort:
            return report(Error("warning: kept as a last resort: " + text +
                                "; correct the record, or store it like all others with --force")
                              .at(origin));
        case Intaken::refused:
            return report(Error("not stored: " + text +
                                "; leave it out, or store it all the same with --force")
                              .at(origin));
        }
    }

    const AddOptions &options_;
    ReactionReader reader_;
    SideRecord known_; // of all records
    Intake &intake_;
    Json stored_ = Json::array(), refused_ = Json::array();
    std::size_t lastResorts_ = 0;
    std::map<std::string, std::size_t> reasons_; // with their counts
};

/// Add, and tell of it once the file is as it is to be.
template <class Tell> auto added(const AddOptions &options, const Tell &tell) {
    const FileLock lock(options.database, IfMissing::makeIt, reportingOfWait(options.database));
    // First: a folder without room or rights ends all at once.
    Intake intake(options.database, options.force);
    Adding adding(options, intake);
    adding.addAll();
    intake.commit();
    return tell(adding);
}

// As files, which go with the object.
class WrittenRecords {
public:
    explicit WrittenRecords(const LearnedSaddles &records)
        : files_{{folder_.file("reactants.sdf"), folder_.file("products.sdf")},
                 folder_.file("saddles.sdf")} {
        write(files_.reactants, records.reactants);
        write(files_.products, records.products);
        write(files_.geometries, records.saddles);
    }
    const ReactionFiles &files() const { return files_; }

private:
    static void write(const std::string &path, const std::string &text) {
        OutputFile file(path);
        file.write(text);
        file.commit();
    }
    TemporaryFolder folder_;
    ReactionFiles files_;
};

int tellOf(const Adding &adding) {
    adding.print();
    return adding.hasRefused() ? somethingFailed : allDone;
}

// The geometries are all that there is: the sides are their own ends.
int addWithOwnEnds(AddOptions options) {
    const SaddleQuestionFiles questions{
        options.files.reactants, {}, {}, options.bareSides.charge, {}};
    const auto found = ownEndsOf(questions, options.saddle);
    if (found.records.saddles.empty())
        throw Error(
            "none of its geometries is a saddle point of a reaction, so nothing was stored; "
            "\"saddlefit saddle\" searches for some from them")
            .at({options.files.reactants});
    const WrittenRecords written(found.records);
    options.files = written.files();
    options.pairing.by = PairBy::order;
    return added(options, [&](Adding &adding) {
        adding.refuseWithoutReaction(found.failed);
        return tellOf(adding);
    });
}

int add(const AddOptions &options) {
    if (options.files.products.empty()) return addWithOwnEnds(options);
    return added(options, tellOf);
}

// What the records' own fields do not say.
void addFactOptions(CLI::App &command, SideRecord &known) {
    const auto add = [&](const char *name, std::string &value, const char *text) {
        command.add_option(name, value, text)->type_name("TEXT");
    };
    add("--level", known.level, "Level of theory, where no data field LEVEL says it");
    add("--program", known.program, "What computed the records, likewise");
    add("--verified", known.verified, "How they were verified, likewise");
    add("--source", known.source, "Where they come from, likewise");
    add("--licence", known.licence, "Their licence, likewise");
    add("--date", known.date, "Their date, likewise");
}

} // namespace

std::size_t addRecords(const std::string &database, const LearnedSaddles &records) {
    const WrittenRecords written(records);
    AddOptions options;
    options.database = database;
    options.files = written.files();
    return added(options, [](const Adding &adding) { return adding.count(); });
}

void addDbAddCommand(CLI::App &db, Action &chosen) {
    const auto [command, options] =
        addDbSubcommand(db, chosen, "add", "Store transition states; makes a missing file", add);
    addArgument(command, "REACTANTS", options.files.reactants,
                "File with the reactants; alone, one with the transition states");
    auto *products =
        addArgument(command, "PRODUCTS", options.files.products, "File with the products");
    auto *states = addArgument(command, "TS", options.files.geometries,
                               "File with the transition states; its coordinates are stored");
    products->required(false)->needs(states->required(false));
    addInputFormatOption(command, options.files.format);
    addOrdersOption(command, options.orders);
    addPairingOptions(command, options.pairing);
    addBareSideOptions(command, options.bareSides);
    command.add_flag("--force", options.force,
                     "Store records that are refused otherwise, and implausible ones like all "
                     "others; they are reported all the same");
    addMethodOption(command, options.saddle);
    addCheckOption(command, options.saddle);
    addGradientOption(command, options.saddle);
    addFactOptions(command, options.known);
    command.footer(
        "Record i of the three files is one reaction. It is stored under the transition state's\n"
        "title. One in which a made or broken bond is hardly longer than where it is finished, or\n"
        "beyond 2.0 single bonds, or two atoms are closer than 0.6 angstrom, is marked: \"react\"\n"
        "asks it where nothing else matches. One that is stored already is refused. What is known\n"
        "of the records, by their data fields or these options, stands in FILE.jsonl.\n\n"
        "A file of transition states alone is enough where they are saddle points of --method:\n"
        "both sides are the minima at their ends, come to as \"saddlefit verify\" does.\n\n"
        "Examples:\n"
        "  saddlefit db add reactions.db reactants.sdf products.sdf ts.sdf\n"
        "  saddlefit db add reactions.db saddles.sdf    # an SDF of \"saddlefit saddle\"");
}

} // namespace saddlefit::cli
