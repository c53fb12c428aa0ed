#include "host/store/database_file.hpp"

#include "host/system/error.hpp"
#include "host/system/open_file.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace saddlefit::host {

namespace {

constexpr const char *noDatabase =
    ": this is no reaction database, or a damaged one; check the name, make one with \"saddlefit "
    "db add\", or see with \"saddlefit db check\" what is wrong";

std::string contentsOf(std::FILE *file) {
    std::string bytes;
    std::array<char, 1 << 16> buffer{};
    while (const auto count = std::fread(buffer.data(), 1, buffer.size(), file)) {
        bytes.append(buffer.data(), count);
    }
    return bytes;
}

} // namespace

std::string databaseBytes(const std::string &path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw Error(path + ": this is a folder; name a database file");
    }
    const OpenFile file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        throw Error(path + ": the database cannot be opened (" + std::strerror(errno) +
                    "); check its name, or make one with \"saddlefit db add\"");
    }
    if (!std::filesystem::is_regular_file(path, error)) throw Error(path + noDatabase);
    auto bytes = contentsOf(file.get());
    if (std::ferror(file.get()) == 0) return bytes;
    throw Error(path + ": the database cannot be read (" + std::strerror(errno) +
                "); check the disk, or go back to a copy");
}

Database openDatabase(const std::string &path) {
    Database database{path, databaseBytes(path), {}};
    const auto chain = walkChain(database.bytes);
    if (chain.damage) throw Error(path + noDatabase);
    std::copy_if(chain.blocks.begin(), chain.blocks.end(), std::back_inserter(database.records),
                 [](const Block &block) { return block.inUse; });
    return database;
}

void requirePosition(const Database &database, std::size_t position) {
    const auto count = database.records.size();
    if (position < count) return;
    const auto range = count == 0 ? std::string("the database has no records")
                                  : "positions go from 0 to " + std::to_string(count - 1);
    throw Error(database.path + ": there is no record " + std::to_string(position) + "; " + range +
                ", see \"saddlefit db list\"");
}

StoredRecord recordAt(const Database &database, std::size_t position) {
    const auto &block = database.records.at(position);
    auto reading = readRecord(block.dataIn(database.bytes), block.dataOffset());
    if (auto *record = std::get_if<StoredRecord>(&reading)) return std::move(*record);
    throw Error(damageMessage(database.path, position, std::get<Damage>(reading)));
}

std::string damageMessage(const std::string &path, std::optional<std::size_t> record,
                          const Damage &damage) {
    const auto place = record ? ", record " + std::to_string(*record) : std::string{};
    return path + place + ", offset " + std::to_string(damage.offset) + ": " + damage.what +
           "; \"saddlefit db salvage\" copies what can be read into a new file";
}

std::string inOneLine(std::string text) {
    constexpr unsigned char firstPrintable = 0x20;
    constexpr unsigned char deleteCharacter = 0x7F;
    std::replace_if(
        text.begin(), text.end(),
        [](unsigned char c) { return c < firstPrintable || c == deleteCharacter; }, '?');
    return text;
}

void requireOtherFile(const std::string &output, const std::string &database) {
    std::error_code error;
    if (!std::filesystem::equivalent(output, database, error)) return;
    throw Error(output + ": this is the database; name another file for the structures");
}

} // namespace saddlefit::host
