#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "host/store/database_file.hpp"
#include "host/store/packing.hpp"
#include "host/store/side_file.hpp"
#include "host/store/survey.hpp"
#include "host/system/file_lock.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/rewriting.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>

namespace saddlefit::cli {

namespace {

// ---- check --------------------------------------------------------------------------------------

// What stands beside a database, held against its records.
class SideCheck {
public:
    SideCheck(const std::string &path, const Survey &survey)
        : path_(path), survey_(survey), exists_(std::filesystem::exists(sideFileOf(path))) {
        if (!exists_) return;
        lines_ = SideLines(path);
        identities_ = identitiesIn(path, survey);
        fit_ = lines_.fitTo(identities_);
    }

    bool finds() const {
        return !fit_.orphans.empty() || !lines_.brokenLines().empty() || changed() > 0;
    }

    void print() const {
        if (!exists_) return;
        std::printf("%zu with a side record, %zu without, %zu changed since, %zu side records "
                    "without a record\n",
                    kept(), identities_.size() - kept() - changed(), changed(),
                    fit_.orphans.size());
    }

    Json asJson() const {
        if (!exists_) return nullptr;
        Json object{{"file", sideFileOf(path_)},
                    {"kept", kept()},
                    {"missing", identities_.size() - kept() - changed()},
                    {"changed", Json::array()},
                    {"orphans", Json::array()},
                    {"brokenLines", lines_.brokenLines()}};
        forEachChanged([&](std::size_t i) {
            object["changed"].push_back(
                {{"name", identities_[i].name}, {"offset", survey_.records[i].offset}});
        });
        for (const auto &orphan : fit_.orphans)
            object["orphans"].push_back(orphan.name);
        return object;
    }

    void reportFindings() const {
        forEachChanged([&](std::size_t i) {
            report(Error(ErrorKind::damage,
                         "offset " + std::to_string(survey_.records[i].offset) + ": " +
                             inOneLine(identities_[i].name) +
                             " is not the record that was stored: a digit or a letter of it was "
                             "changed, or another program stored it anew; compare it with its "
                             "source, and remove it or its line in " +
                             sideFileOf(path_))
                       .at({path_}));
        });
        const Place beside{sideFileOf(path_)};
        for (const auto &orphan : fit_.orphans)
            report(Error(ErrorKind::damage,
                         inOneLine(orphan.name) +
                             " has no record: the database was cut, or changed in a name, or a "
                             "removal was interrupted; compare it with a copy, or let the next "
                             "change of the database drop the line")
                       .at(beside));
        for (const auto number : lines_.brokenLines())
            report(Error("line " + std::to_string(number) + " is no side record; mend or remove it")
                       .at(beside));
    }

private:
    std::size_t changed() const {
        return static_cast<std::size_t>(std::count(fit_.changed.begin(), fit_.changed.end(), true));
    }
    std::size_t kept() const {
        const auto has = [](std::string_view line) { return !line.empty(); };
        const auto lines = std::count_if(fit_.lines.begin(), fit_.lines.end(), has);
        return static_cast<std::size_t>(lines) - changed();
    }
    template <class Visit> void forEachChanged(Visit visit) const {
        for (std::size_t i = 0; i < fit_.changed.size(); ++i)
            if (fit_.changed[i]) visit(i);
    }

    const std::string &path_;
    const Survey &survey_;
    bool exists_;
    SideLines lines_;
    std::vector<RecordIdentity> identities_;
    SideLines::Fit fit_;
};

void printCounts(const Survey &survey) {
    std::printf("%zu records, %zu free blocks, %zu free bytes, %zu slack bytes\n",
                survey.records.size(), survey.freeBlocks, survey.freeBytes, survey.slackBytes);
}

Json damageAsJson(const Survey &survey) {
    if (!survey.damage) return nullptr;
    Json record = nullptr;
    if (survey.damagedRecord) record = *survey.damagedRecord;
    return {{"offset", survey.damage->offset}, {"record", record}, {"what", survey.damage->what}};
}

void printCheckAsJson(const std::string &path, const Survey &survey, const SideCheck &sides) {
    printJson({{"file", path},
               {"records", survey.records.size()},
               {"freeBlocks", survey.freeBlocks},
               {"freeBytes", survey.freeBytes},
               {"slackBytes", survey.slackBytes},
               {"damage", damageAsJson(survey)},
               {"sides", sides.asJson()}});
}

void reportDamage(const std::string &path, const Survey &survey) {
    const bool isNone = survey.records.empty() && survey.freeBlocks == 0;
    report(isNone ? Error(path + ", offset " + std::to_string(survey.damage->offset) + ": " +
                          survey.damage->what +
                          "; there is not one record in it, so it seems to be no reaction "
                          "database: check the name")
                  : damageError(path, survey.damagedRecord, *survey.damage));
}

int check(const DbOptions &options) {
    const auto survey = surveyOf(*openStoreAt(options.database));
    const SideCheck sides(options.database, survey);
    if (options.json) printCheckAsJson(options.database, survey, sides);
    if (!options.json) {
        printCounts(survey);
        sides.print();
    }
    if (survey.damage) reportDamage(options.database, survey);
    sides.reportFindings();
    return survey.damage || sides.finds() ? somethingFailed : allDone;
}

// ---- compact and salvage ------------------------------------------------------------------------

int compact(const DbOptions &options) {
    const FileLock lock(options.database, IfMissing::lockNothing,
                        reportingOfWait(options.database));
    const auto sizes = host::compact(options.database);
    if (options.json) {
        printJson({{"file", options.database},
                   {"records", sizes.records},
                   {"bytesBefore", sizes.before},
                   {"bytesAfter", sizes.after}});
        return allDone;
    }
    std::printf("%zu records in %s, %zu bytes before, %zu after\n", sizes.records,
                options.database.c_str(), sizes.before, sizes.after);
    return allDone;
}

struct SalvageOptions : DbOptions {
    std::string output;
};

void requireNewFile(const std::string &path) {
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::symlink_status(path, error))) return;
    throw Error(ErrorKind::refused, "exists already and is not overwritten; name a new file")
        .at({path});
}

int salvage(const SalvageOptions &options) {
    requireNewFile(options.output);
    requireNewFile(sideFileOf(options.output));
    const auto bytes = databaseBytes(options.database);
    const auto survey = surveyOf(bytes);
    if (survey.records.empty() && survey.damage) {
        throw Error(ErrorKind::damage, "no record can be read anywhere in its " +
                                           std::to_string(bytes.size()) + " bytes; check the name")
            .at({options.database});
    }
    writeDatabase(options.output, packedBlocks(bytes, survey.records), SideLines(options.database));
    if (options.json) {
        printJson({{"file", options.database},
                   {"output", options.output},
                   {"records", survey.records.size()},
                   {"bytesPassedOver", survey.passedOver}});
        return allDone;
    }
    std::printf("%zu records copied to %s, %zu bytes passed over\n", survey.records.size(),
                options.output.c_str(), survey.passedOver);
    return allDone;
}

} // namespace

void addDbCheckCommand(CLI::App &db, Action &chosen) {
    auto &command = addDbSubcommand(db, chosen, "check", "Look for damage", check).parser;
    command.footer(
        "Reads every block and record and prints the number of sound records, the blocks that\n"
        "removed records have left with their bytes, and the bytes that records leave unused in\n"
        "their blocks. The first damage is reported with its offset; the status is then 1, and so\n"
        "it is if a record is not the one of which FILE.jsonl tells.\n\n"
        "Example:\n"
        "  saddlefit db check reactions.db");
}

void addDbCompactCommand(CLI::App &db, Action &chosen) {
    auto &command =
        addDbSubcommand(db, chosen, "compact", "Give back the room that is not used", compact)
            .parser;
    command.footer("Records keep their order and their bytes. A damaged file is left alone.\n\n"
                   "Example:\n"
                   "  saddlefit db compact reactions.db");
}

void addDbSalvageCommand(CLI::App &db, Action &chosen) {
    const auto [command, options] = addDbSubcommand(
        db, chosen, "salvage", "Copy what can be read of a damaged database", salvage);
    addArgument(command, "OUT", options.output, "New database");
    command.footer(
        "Prints how many records were copied, and how many bytes of FILE were passed over.\n\n"
        "Example:\n"
        "  saddlefit db salvage damaged.db saved.db");
}

} // namespace saddlefit::cli
