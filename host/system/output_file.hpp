/// A file that appears whole or not at all.
#pragma once

#include "host/system/descriptor.hpp"

#include <string>
#include <string_view>

namespace saddlefit::host {

/// The new contents are written to a file beside the target, which commit() puts in its place by
/// replaceFile(). Without a commit() the target stays as it was. A target that is no regular file
/// (a terminal, /dev/null) is written to directly.
class OutputFile {
public:
    /// Throws Error if TARGET.saddlefit-new cannot be made, or if another run has locked it. It is
    /// made by what is written, so that a run which is killed before that leaves nothing behind;
    /// one that a killed run has left is made anew, and a symbolic link of that name is not
    /// followed.
    explicit OutputFile(const std::string &target);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    /// Where the new contents go until then.
    const std::string &path() const { return path_; }

    void write(const std::string &text);
    void copyFromTarget();
    void commit();

private:
    void open();
    void makeAnew();
    bool removesLeftover() const;

    std::string target_; ///< resolved
    std::string path_;
    Descriptor file_;
};

/// Put a finished file in the place of the target, so that a crash of the machine at any moment
/// leaves the old contents or the new: its bytes are on the disk before it gets the name, and the
/// folder after that. It takes over the mode of a target that is there, and the owner as far as the
/// user may give files away. Throws Error if the disk refuses.
void replaceFile(const Descriptor &file, const std::string &path, const std::string &target);

/// The name of an output that stands for the standard output.
inline constexpr const char *standardOutput = "-";

/// Write all of it; throws Error, about the target, where there is no room.
void writeAll(const Descriptor &file, std::string_view bytes, const std::string &target);

/// The place that a target stands for: symbolic links are followed, so that they stay links.
std::string resolvedTarget(const std::string &target);

/// False for what is there and no regular file: it is written to directly.
bool isReplaceable(const std::string &target);

/// Throws Error.
[[noreturn]] void failWriting(const std::string &target, const std::string &reason);

} // namespace saddlefit::host
