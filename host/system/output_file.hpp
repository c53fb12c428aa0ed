// A file that appears whole or not at all.
#pragma once

#include <string>

namespace saddlefit::host {

// The new contents are written to a file beside the target, which commit() renames over it.
// Without a commit() the target stays as it was. A target that is no regular file (a terminal,
// /dev/null) is written to directly.
class OutputFile {
public:
    // Throws Error if there can be no file beside the target. It is made by what is written, so
    // that a run which is killed before that leaves nothing behind.
    explicit OutputFile(const std::string &target);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    // Where the new contents go until then.
    const std::string &path() const { return path_; }

    void write(const std::string &text);
    void copyFromTarget();
    void commit();

private:
    std::string target_; // resolved
    std::string path_;
};

// The place that a target stands for: symbolic links are followed, so that they stay links.
std::string resolvedTarget(const std::string &target);

// False for what is there and no regular file: it is written to directly.
bool isReplaceable(const std::string &target);

// Throws Error.
[[noreturn]] void failWriting(const std::string &target, const std::string &reason);

} // namespace saddlefit::host
