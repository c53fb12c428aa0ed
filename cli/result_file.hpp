/// A file with results of a command, or the standard output in its place.
#pragma once

#include "cli/host.hpp"
#include "host/system/output_file.hpp"

#include <cstdio>
#include <optional>
#include <string>

namespace saddlefit::cli {

/// As OutputFile, but for "-".
class ResultFile {
public:
    explicit ResultFile(const std::string &path) {
        if (path != standardOutput) file_.emplace(path);
    }

    void write(const std::string &text) {
        if (file_)
            file_->write(text);
        else
            std::fwrite(text.data(), 1, text.size(), stdout); // main() tells if it fails
    }

    void commit() {
        if (file_) file_->commit();
    }

private:
    std::optional<OutputFile> file_;
};

/// A whole file at once. Throws Error where it cannot be written.
inline void writeFile(const std::string &path, const std::string &text) {
    OutputFile file(path);
    file.write(text);
    file.commit();
}

} // namespace saddlefit::cli
