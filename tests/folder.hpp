/// A folder of small files, taken as a whole.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace saddlefit::test {

/// Contents by name.
using Folder = std::map<std::string, std::string>;

inline Folder takenFrom(const std::string &path) {
    Folder files;
    for (const auto &entry : std::filesystem::directory_iterator(path)) {
        std::ifstream in(entry.path(), std::ios::binary);
        files[entry.path().filename()] = {std::istreambuf_iterator<char>(in), {}};
    }
    return files;
}

/// Puts files into a folder and takes all others out; what is there as it should be is left alone.
inline void putInto(const std::string &path, const Folder &files) {
    const auto there = takenFrom(path);
    for (const auto &[name, bytes] : there)
        if (!files.contains(name)) std::filesystem::remove(path + "/" + name);
    for (const auto &[name, bytes] : files)
        if (const auto old = there.find(name); old == there.end() || old->second != bytes)
            std::ofstream(path + "/" + name, std::ios::binary | std::ios::trunc) << bytes;
}

} // namespace saddlefit::test
