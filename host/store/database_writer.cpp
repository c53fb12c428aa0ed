#include "host/store/database_writer.hpp"

#include "saddlefit/database.h"

#include "host/system/error.hpp"
#include "host/system/open_file.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>

namespace saddlefit::host {

namespace {

// The library's file offsets are signed 32-bit integers.
constexpr std::size_t longestFile = std::numeric_limits<std::int32_t>::max();

[[noreturn]] void failTemporary() {
    throw Error("the folder for temporary files cannot be written; make room there, or set "
                "TMPDIR to another");
}

} // namespace

// Written into a file of its own, so that it is the first block there.
std::optional<std::string> recordBytes(Molecule &mol, const std::string &name) {
    const OpenFile file(std::tmpfile());
    if (!file) failTemporary();
    const auto code = codeOf(&mol);
    if (writeDB(file.get(), strdup(name.c_str()), code.data(), &mol) != 1) {
        if (std::ferror(file.get()) != 0) failTemporary();
        return std::nullopt;
    }
    std::string block(static_cast<std::size_t>(std::ftell(file.get())), '\0');
    std::rewind(file.get());
    if (std::fread(block.data(), 1, block.size(), file.get()) != block.size()) failTemporary();
    return block.substr(blockHeaderBytes);
}

DatabaseWriter::DatabaseWriter(const std::string &path) : path_(path) {
    std::error_code error; // of a folder that cannot be entered: the file in it cannot be opened
    if (!std::filesystem::exists(path, error) && !error) return;
    auto database = openDatabase(path);
    bytes_ = std::move(database.bytes);
    used_ = std::move(database.records);
    for (const auto &block : walkChain(bytes_).blocks)
        if (!block.inUse) free_.push_back(block);
}

Block DatabaseWriter::place(std::string_view record) {
    const auto room = std::find_if(free_.begin(), free_.end(),
                                   [&](const Block &block) { return block.size >= record.size(); });
    Block block{bytes_.size(), record.size(), true};
    if (room != free_.end()) {
        block = {room->offset, room->size, true};
        free_.erase(room);
    } else if (block.end() > longestFile) {
        throw Error(path_ + ": the database has no room for another record; a file ends at "
                            "2 GiB, so begin a new one");
    } else {
        bytes_.resize(block.end());
    }
    bytes_.replace(block.offset, blockHeaderBytes, blockHeader(block.size));
    bytes_.replace(block.dataOffset(), record.size(), record);
    used_.push_back(block);
    return block;
}

} // namespace saddlefit::host
