/// Files of databases, and what the block heap prints where one of its steps fails.
#pragma once

#include "tests/molecules.hpp"
#include "tests/record_bytes.hpp"

#include <fstream>
#include <string>
#include <vector>

namespace saddlefit::test {

struct DatabaseFile : TemporaryFile {
    explicit DatabaseFile(const std::string &bytes = {}) {
        std::ofstream(path(), std::ios::binary) << bytes;
    }
    OwnedFile open(const char *mode = "r+b") const { return openFile(path(), mode); }
    std::string bytes() const { return bytesOf(path()); }
};

/// What it prints for these failing steps.
inline std::string errorLines(const std::vector<int> &lines) {
    std::string text;
    for (int line : lines)
        text += "Error: (database/fmem," + std::to_string(line) + ") " +
                (line < 20    ? "failed to read from file\n"
                 : line < 30  ? "failed to write to file\n"
                 : line < 70  ? "failed to free file block\n"
                 : line < 100 ? "error allocating file block\n"
                              : "error reallocating file block\n");
    return text;
}

} // namespace saddlefit::test
