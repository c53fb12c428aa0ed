/// A folder that is gone with its object.
#pragma once

#include <string>
#include <sys/types.h>

namespace saddlefit::host {

/// In the parent that is named, or in TMPDIR, or in /tmp. A process that was forked leaves the
/// folder to its parent.
class TemporaryFolder {
public:
    /// Makes it, empty; throws Error if that cannot be done.
    explicit TemporaryFolder(const std::string &parent = {});
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    /// The path of a file in it.
    std::string file(const std::string &name) const { return path_ + "/" + name; }
    const std::string &path() const { return path_; }

private:
    std::string path_;
    pid_t owner_;
};

} // namespace saddlefit::host
