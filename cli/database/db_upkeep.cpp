#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "host/store/database_file.hpp"
#include "host/store/survey.hpp"
#include "host/system/file_lock.hpp"
#include "host/system/output_file.hpp"

#include <cstdint>
#include <cstdio>
#include <filesystem>

namespace saddlefit::cli {

namespace {

// ---- check --------------------------------------------------------------------------------------

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

void printCheckAsJson(const std::string &path, const Survey &survey) {
    printJson({{"file", path},
               {"records", survey.records.size()},
               {"freeBlocks", survey.freeBlocks},
               {"freeBytes", survey.freeBytes},
               {"slackBytes", survey.slackBytes},
               {"damage", damageAsJson(survey)}});
}

int check(const DbOptions &options) {
    const auto survey = surveyOf(*openStoreAt(options.database));
    if (options.json) printCheckAsJson(options.database, survey);
    if (!options.json) printCounts(survey);
    if (!survey.damage) return allDone;
    const bool isNone = survey.records.empty() && survey.freeBlocks == 0;
    report(isNone ? Error(options.database + ", offset " + std::to_string(survey.damage->offset) +
                          ": " + survey.damage->what +
                          "; there is not one record in it, so it seems to be no reaction "
                          "database: check the name")
                  : damageError(options.database, survey.damagedRecord, *survey.damage));
    return somethingFailed;
}

// ---- compact and salvage ------------------------------------------------------------------------

// Each record in a block of exactly its size.
std::string packedBlocks(std::string_view bytes, const std::vector<RecordSpan> &records) {
    std::string blocks;
    for (const auto &record : records) {
        blocks += blockHeader(record.bytes);
        blocks += bytes.substr(record.offset, record.bytes);
    }
    return blocks;
}

void writeWhole(const std::string &path, const std::string &bytes) {
    OutputFile file(path);
    file.write(bytes);
    file.commit();
}

int compact(const DbOptions &options) {
    const FileLock lock(options.database, IfMissing::lockNothing,
                        reportingOfWait(options.database));
    const auto bytes = databaseBytes(options.database);
    const auto survey = surveyOf(bytes);
    if (survey.damage) throw damageError(options.database, survey.damagedRecord, *survey.damage);
    const auto packed = packedBlocks(bytes, survey.records);
    writeWhole(options.database, packed);
    if (options.json) {
        printJson({{"file", options.database},
                   {"records", survey.records.size()},
                   {"bytesBefore", bytes.size()},
                   {"bytesAfter", packed.size()}});
        return allDone;
    }
    std::printf("%zu records in %s, %zu bytes before, %zu after\n", survey.records.size(),
                options.database.c_str(), bytes.size(), packed.size());
    return allDone;
}

struct SalvageOptions : DbOptions {
    std::string output;
};

int salvage(const SalvageOptions &options) {
    std::error_code error;
    if (std::filesystem::exists(std::filesystem::symlink_status(options.output, error))) {
        throw Error(ErrorKind::refused, "exists already and is not overwritten; name a new file")
            .at({options.output});
    }
    const auto bytes = databaseBytes(options.database);
    const auto survey = surveyOf(bytes);
    if (survey.records.empty() && survey.damage) {
        throw Error(ErrorKind::damage, "no record can be read anywhere in its " +
                                           std::to_string(bytes.size()) + " bytes; check the name")
            .at({options.database});
    }
    writeWhole(options.output, packedBlocks(bytes, survey.records));
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
        "their blocks. The first damage is reported with its offset; the status is then 1.\n\n"
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
