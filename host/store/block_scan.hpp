// The blocks of a database file: the chain as its headers tell it, and what can be read of a file
// whose chain is broken.
#pragma once

#include "host/store/record_scan.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

// Size (4 bytes) and status (1 byte: 1 in use, 0 free) in front of a block's data.
constexpr std::size_t blockHeaderBytes = 5;

struct Block {
    std::size_t offset = 0; // of the header
    std::size_t size = 0;   // of the data area
    bool inUse = false;

    std::size_t dataOffset() const { return offset + blockHeaderBytes; }
    std::size_t end() const { return dataOffset() + size; }
    std::string_view dataIn(std::string_view file) const { return file.substr(dataOffset(), size); }
};

// The header of a block in use.
std::string blockHeader(std::size_t size);

struct Chain {
    std::vector<Block> blocks;
    std::optional<Damage> damage; // unless the chain ends exactly where the file does
};

// Follow the headers from the beginning of the file; no record is looked at.
Chain walkChain(std::string_view file);

struct RecordSpan {
    std::size_t offset = 0; // of the record in the file, behind its block's header
    std::size_t bytes = 0;  // without slack
};

struct Survey {
    std::vector<RecordSpan> records; // sound ones, in file order
    std::size_t freeBlocks = 0;
    std::size_t freeBytes = 0;
    std::size_t slackBytes = 0;
    std::size_t passedOver = 0;               // bytes in which nothing could be read
    std::optional<Damage> damage;             // the first
    std::optional<std::size_t> damagedRecord; // position of the record that it is in, if any
};

// Read every block and record. Behind damage, go on at the next offset where a block in use with
// a sound record begins. A record in a block with a damaged header counts as sound if it is whole
// and, where the size is wrong, its transition code vouches for its counts.
Survey surveyFile(std::string_view file);

} // namespace saddlefit::host
