#include "host/store/database_file.hpp"

#include "host/system/input_file.hpp"
#include "host/system/open_failure.hpp"
#include "host/system/open_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace saddlefit::host {

namespace {

[[noreturn]] void failAsNoDatabase(const std::string &path) {
    throw Error(ErrorKind::damage, "this is no reaction database, or a damaged one; check the name")
        .at({path})
        .with(Remedy::makeOrCheckDatabase);
}

/// Hand the blocks of a file to a visitor until it returns false. Throws Error if there is damage
/// before.
template <class Visit> void forEachBlock(StoreFile &file, const std::string &path, Visit visit) {
    StoreBlock block{};
    StoreDamage damage;
    int found = 0;
    while ((found = nextStoreBlock(&file, block.end, &block, &damage)) == 1)
        if (!visit(block)) return;
    if (found < 0) failAsNoDatabase(path);
}

[[noreturn]] void failAtPosition(const std::string &path, std::size_t position, std::size_t count) {
    const auto range = count == 0 ? std::string("the database has no records")
                                  : "positions go from 0 to " + std::to_string(count - 1);
    throw Error("there is no record " + std::to_string(position) + "; " + range)
        .at({path})
        .with(Remedy::listDatabase);
}

StoredRecord soundRecord(std::variant<StoredRecord, Damage> reading, const std::string &path,
                         std::size_t position) {
    if (auto *record = std::get_if<StoredRecord>(&reading)) return std::move(*record);
    throw damageError(path, position, std::get<Damage>(reading));
}

[[noreturn]] void failReading(const std::string &path) {
    throw Error(ErrorKind::system, std::string("the database cannot be read (") +
                                       std::strerror(errno) +
                                       "); check the disk, or go back to a copy")
        .at({path});
}

/// Blocks end before that: what is longer takes minutes and its length in memory, for nothing.
constexpr std::uintmax_t longestDatabase = std::uintmax_t{1} << 31;

void requireLength(const std::string &path) {
    std::error_code error;
    const auto length = std::filesystem::file_size(path, error);
    if (error || length <= longestDatabase) return;
    throw Error(ErrorKind::limit, "a database has at most 2 GiB, and this file " +
                                      std::to_string(length) +
                                      " bytes; cut a copy of it there (\"truncate -s 2G\")")
        .at({path});
}

OpenFile openRegularFile(const std::string &path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw Error("this is a folder; name a database file").at({path});
    }
    // Before it is opened: that of a pipe waits for a writer.
    if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error)) {
        failAsNoDatabase(path);
    }
    requireLength(path);
    OpenFile file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        throw Error(kindOfOpenFailure(errno), std::string("the database cannot be opened (") +
                                                  std::strerror(errno) + "); check its name")
            .at({path})
            .with(Remedy::makeDatabase);
    }
    return file;
}

} // namespace

std::string databaseBytes(const std::string &path) {
    openRegularFile(path); // which is what a database has to be
    return InputFile(path).rest();
}

OpenStore openStoreAt(const std::string &path) {
    const OpenFile file = openRegularFile(path);
    const bool hasBytes = std::getc(file.get()) != EOF;
    if (std::ferror(file.get()) != 0) failReading(path);
    std::error_code error; // files that the kernel makes up have bytes and no size
    if (hasBytes && std::filesystem::file_size(path, error) == 0) failAsNoDatabase(path);
    OpenStore store(openStore(path.c_str()));
    if (!store) failReading(path);
    return store;
}

Database openDatabase(const std::string &path) {
    Database database{path, openStoreAt(path), {}};
    forEachBlock(*database.file, path, [&](const StoreBlock &block) {
        if (block.inUse) database.records.push_back(block);
        return true;
    });
    return database;
}

bool holdsRecords(const std::string &path) {
    bool found = false;
    forEachBlock(*openStoreAt(path), path, [&](const StoreBlock &block) {
        found = block.inUse == 1;
        return !found;
    });
    return found;
}

PlacedRecord recordIn(const std::string &path, std::size_t position) {
    const auto file = openStoreAt(path);
    std::optional<StoreBlock> wanted;
    std::size_t count = 0;
    forEachBlock(*file, path, [&](const StoreBlock &block) {
        if (block.inUse && count++ == position) wanted = block;
        return !wanted;
    });
    if (!wanted) failAtPosition(path, position, count);
    return {*wanted, soundRecord(readRecord(*file, *wanted), path, position)};
}

void requirePosition(const Database &database, std::size_t position) {
    const auto count = database.records.size();
    if (position >= count) failAtPosition(database.path, position, count);
}

StoredRecord recordAt(const Database &database, std::size_t position) {
    return soundRecord(database.read(position), database.path, position);
}

Error damageError(const std::string &path, std::optional<std::size_t> record,
                  const Damage &damage) {
    const Place place{path, record};
    return Error(ErrorKind::damage,
                 place.text() + ", offset " + std::to_string(damage.offset) + ": " + damage.what)
        .about(place)
        .with(Remedy::salvageDatabase);
}

void requireOtherFile(const std::string &output, const std::string &database) {
    std::error_code error;
    if (!std::filesystem::equivalent(output, database, error)) return;
    throw Error(ErrorKind::refused, "this is the database; name another file for the structures")
        .at({output});
}

} // namespace saddlefit::host
