#include "host/system/file_lock.hpp"

#include "host/system/output_file.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace saddlefit::host {

namespace {

constexpr mode_t ownersUmaskDecides = 0666;

// File systems without locks are none of our business.
void waitForLock(int file, const std::function<void()> &beforeWaiting) {
    if (flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
    beforeWaiting();
    while (flock(file, LOCK_EX) != 0 && errno == EINTR)
        continue;
}

bool isEmpty(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && status.st_size == 0;
}

} // namespace

bool leadsTo(const std::string &path, int file) {
    struct stat named {};
    struct stat opened {};
    return stat(path.c_str(), &named) == 0 && fstat(file, &opened) == 0 &&
           named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

FileLock::FileLock(const std::string &path, IfMissing ifMissing,
                   const std::function<void()> &beforeWaiting)
    : path_(resolvedTarget(path)) {
    if (!isReplaceable(path_)) return;
    const int make = ifMissing == IfMissing::makeIt ? O_CREAT : 0;
    do {
        made_ = access(path_.c_str(), F_OK) != 0;
        file_ = Descriptor(open(path_.c_str(), O_RDONLY | O_CLOEXEC | make, ownersUmaskDecides));
        if (!file_.isOpen()) return;
        waitForLock(file_.number(), beforeWaiting);
    } while (!leadsTo(path_, file_.number()));
}

FileLock::~FileLock() {
    if (!file_.isOpen() || !made_) return;
    if (leadsTo(path_, file_.number()) && isEmpty(file_.number())) unlink(path_.c_str());
}

} // namespace saddlefit::host
