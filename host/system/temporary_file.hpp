// A file that is gone with its object.
#pragma once

#include <string>
#include <sys/types.h>

namespace saddlefit::host {

// "/tmp/saddlefit-XXXXXX", in TMPDIR where that is set. It may name no folder, which is told when
// something is to be made in it.
std::string temporaryPattern();

// In TMPDIR, or in /tmp. A process that was forked leaves the file to its parent.
class TemporaryFile {
public:
    // Makes it, empty; throws Error if that cannot be done.
    TemporaryFile();
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    const std::string &path() const { return path_; }

    // Replace the contents.
    void write(const std::string &bytes);

private:
    std::string path_;
    pid_t owner_;
};

} // namespace saddlefit::host
