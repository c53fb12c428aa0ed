/// Advisory locks (flock) on files that are replaced by renaming.
#pragma once

#include "host/system/descriptor.hpp"

#include <functional>
#include <string>

namespace saddlefit::host {

/// Whether the path still leads to the open file: another run may have renamed it meanwhile.
bool leadsTo(const std::string &path, int file);

enum class IfMissing { makeIt, lockNothing };

/// While one of these lives, no other run of a command that takes a lock changes the file. The
/// library knows no locks, so a host that writes into the file on its own is not kept away.
class FileLock {
public:
    /// Takes the lock; where another run has it, calls `beforeWaiting` and waits. What is no
    /// regular file, or cannot be opened, is not locked: whoever uses it will tell what is wrong.
    /// A file that was made for the lock, and is empty at the end, goes again.
    FileLock(const std::string &path, IfMissing ifMissing,
             const std::function<void()> &beforeWaiting);
    ~FileLock();
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

private:
    std::string path_; ///< with symbolic links resolved, so that they stay links
    Descriptor file_;
    bool made_ = false;
};

} // namespace saddlefit::host
