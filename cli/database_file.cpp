#include "cli/database_file.hpp"

#include "saddlefit/database.h"

#include "cli/errors.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

namespace saddlefit::cli {

namespace {

constexpr std::uintmax_t headerBytes = 5;
constexpr std::uint8_t blockInUse = 1; // 0 is free; no writer makes another

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

// A database is a chain of blocks that ends exactly where the file does.
bool isChainOfBlocks(std::FILE *file, std::uintmax_t fileBytes) {
    std::uintmax_t position = 0;
    while (position < fileBytes) {
        BlockHeader header{};
        if (fileBytes - position < headerBytes || ReadHeader(&header, file) == 0) return false;
        position += headerBytes;
        if (header.size > fileBytes - position || header.status > blockInUse) return false;
        position += header.size;
        if (std::fseek(file, static_cast<long>(position), SEEK_SET) != 0) return false;
    }
    return true;
}

} // namespace

void requireDatabase(const std::string &path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw UserError(path + ": this is a folder; name a database file");
    }
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        throw UserError(path + ": the database cannot be opened (" + std::strerror(errno) +
                        "); check its name, or make one with \"saddlefit db add\"");
    }
    const auto bytes = std::filesystem::file_size(path, error);
    if (error || !isChainOfBlocks(file.get(), bytes)) {
        throw UserError(path + ": this is no reaction database, or a damaged one; check the name, "
                               "or make one with \"saddlefit db add\"");
    }
}

std::vector<std::string> recordNames(const std::string &path) {
    char **names = nullptr;
    const int count = listDB(path.c_str(), &names);
    std::vector<std::string> result;
    for (int i = 0; i < count; ++i) {
        result.emplace_back(names[i]);
        std::free(names[i]);
    }
    std::free(names);
    return result;
}

} // namespace saddlefit::cli
