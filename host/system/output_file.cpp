#include "host/system/output_file.hpp"

#include "host/system/error.hpp"
#include "host/system/file_lock.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace saddlefit::host {

namespace {

namespace fs = std::filesystem;

constexpr mode_t ownersUmaskDecides = 0666;
constexpr mode_t permissionBits = 07777;
constexpr int mostAttempts = 100; // of runs that begin at once

[[noreturn]] void failWithReason(const std::string &target) {
    failWriting(target, std::strerror(errno));
}

bool isLocked(const Descriptor &file) {
    return flock(file.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

[[noreturn]] void failLocked(const std::string &target) {
    throw Error(ErrorKind::refused, "another run is writing it; wait until that run has ended, or "
                                    "choose another output")
        .at({target});
}

// Only root may give files away; the group goes as far as the user is in it.
void takeOver(const Descriptor &file, const std::string &target) {
    struct stat before {};
    if (stat(target.c_str(), &before) != 0) return;
    if (fchown(file.number(), before.st_uid, before.st_gid) != 0) {
        [[maybe_unused]] const int ignored =
            fchown(file.number(), static_cast<uid_t>(-1), before.st_gid);
    }
    if (fchmod(file.number(), before.st_mode & permissionBits) != 0) failWithReason(target);
}

// File systems that cannot sync a folder say so.
void syncFolderOf(const std::string &target) {
    const auto parent = fs::path(target).parent_path();
    const std::string folder = parent.empty() ? "." : parent.string();
    const Descriptor open(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!open.isOpen()) return; // one that may be written to, but not read
    if (fsync(open.number()) != 0 && errno != EINVAL && errno != ENOTSUP) failWithReason(target);
}

} // namespace

void failWriting(const std::string &target, const std::string &reason) {
    throw Error(ErrorKind::system, "cannot be written (" + reason +
                                       "); check the folder, your rights and the room on the disk")
        .at({target});
}

std::string resolvedTarget(const std::string &target) {
    std::error_code error;
    const auto path = fs::canonical(target, error);
    return error ? target : path.string();
}

bool isReplaceable(const std::string &target) {
    std::error_code error;
    return !fs::exists(target, error) || fs::is_regular_file(target, error);
}

void writeAll(const Descriptor &file, std::string_view bytes, const std::string &target) {
    while (!bytes.empty()) {
        const auto count = ::write(file.number(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) failWithReason(target);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void replaceFile(const Descriptor &file, const std::string &path, const std::string &target) {
    takeOver(file, target);
    if (fsync(file.number()) != 0) failWithReason(target);
    if (rename(path.c_str(), target.c_str()) != 0) failWithReason(target);
    syncFolderOf(target);
}

OutputFile::OutputFile(const std::string &target) : target_(resolvedTarget(target)) {
    std::error_code error;
    if (fs::is_directory(target_, error)) failWriting(target, "it is a folder");
    path_ = target_;
    if (!isReplaceable(target_)) return;
    path_ += ".saddlefit-new"; // a name that nothing else bears
    makeAnew();
    unlink(path_.c_str());
    file_.close();
}

// Exclusively, so that nothing else stands there; a run that began at the same time may have
// removed it again before it was locked.
void OutputFile::makeAnew() {
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        constexpr int flags = O_RDWR | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
        file_ = Descriptor(::open(path_.c_str(), flags, ownersUmaskDecides));
        if (!file_.isOpen() && errno == EEXIST && removesLeftover()) continue;
        if (!file_.isOpen()) failWithReason(target_);
        if (!isLocked(file_) && leadsTo(path_, file_.number())) return;
    }
    failLocked(target_);
}

// What nobody has locked is left from a run that was killed.
bool OutputFile::removesLeftover() const {
    const Descriptor leftover(
        ::open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!leftover.isOpen()) {
        if (errno == ENOENT) return true;
        throw Error(ErrorKind::refused, "stands in the way of a new " + target_ + "; remove it")
            .at({path_});
    }
    if (isLocked(leftover)) failLocked(target_);
    if (!leadsTo(path_, leftover.number())) return true;
    return unlink(path_.c_str()) == 0 || errno == ENOENT;
}

OutputFile::~OutputFile() {
    if (path_ != target_) unlink(path_.c_str());
}

void OutputFile::open() {
    if (file_.isOpen()) return;
    if (path_ != target_) return makeAnew();
    file_ = Descriptor(::open(target_.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (!file_.isOpen()) failWithReason(target_);
}

void OutputFile::write(const std::string &text) {
    open();
    writeAll(file_, text, target_);
}

void OutputFile::copyFromTarget() {
    open();
    const Descriptor old(::open(target_.c_str(), O_RDONLY | O_CLOEXEC));
    if (!old.isOpen() && errno == ENOENT) return;
    std::array<char, 1 << 16> buffer{};
    ssize_t count = old.isOpen() ? 1 : -1;
    while (count > 0 || (count < 0 && errno == EINTR)) {
        count = ::read(old.number(), buffer.data(), buffer.size());
        if (count > 0) writeAll(file_, {buffer.data(), static_cast<std::size_t>(count)}, target_);
    }
    if (count < 0) failWithReason(target_);
}

void OutputFile::commit() {
    if (path_ == target_) return;
    open();
    replaceFile(file_, path_, target_);
    path_ = target_;
    file_.close();
}

} // namespace saddlefit::host
