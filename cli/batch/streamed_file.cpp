#include "cli/batch/streamed_file.hpp"

#include "cli/report.hpp"
#include "host/system/file_lock.hpp"
#include "host/system/output_file.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace saddlefit::cli {

namespace {

namespace fs = std::filesystem;

constexpr mode_t ownersUmaskDecides = 0666;

[[noreturn]] void failLocked(const std::string &target) {
    throw Error(ErrorKind::refused, "another run is writing it, or it is named twice; wait until "
                                    "that run has ended, or choose another output")
        .at({target});
}

std::optional<std::string> textOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::error_code error;
        if (!fs::exists(path, error) && !error) return std::nullopt;
        throw Error(ErrorKind::system, "cannot be read; check your rights, or run without resuming")
            .at({path});
    }
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

void requireTitle(const std::string &path, const Piece &piece,
                  const std::optional<std::string> &title) {
    if (title == piece.title) return;
    throw Error(ErrorKind::refused,
                "record " + std::to_string(piece.item) + " is \"" + piece.title +
                    "\" there, but the inputs have " +
                    (title ? "\"" + *title + "\" in its place" : "no such record") +
                    "; go on with the inputs that it was begun with, or run without --resume")
        .at({path});
}

void requireOurs(const std::string &path, const std::vector<Piece> &pieces,
                 const TitleOf &titleOf) {
    for (std::size_t last = 0; const auto &piece : pieces) {
        if (piece.item <= last) {
            throw Error(ErrorKind::refused, "was not written by this command, for its records do "
                                            "not bear ascending numbers; choose another output")
                .at({path});
        }
        if (titleOf) requireTitle(path, piece, titleOf(piece.item));
        last = piece.item;
    }
}

// False if another run holds the lock. The workers of a run that was killed may take a moment to
// die; file systems without locks are none of our business.
bool lock(int file) {
    constexpr int attempts = 10;
    constexpr std::chrono::milliseconds pause{50};
    for (int i = 0; i < attempts; ++i) {
        if (flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return true;
        std::this_thread::sleep_for(pause);
    }
    return false;
}

} // namespace

std::vector<Piece> wholeItems(const std::vector<Piece> &pieces) {
    std::vector<Piece> items;
    for (const auto &piece : pieces) {
        if (!items.empty() && items.back().item == piece.item)
            items.back().end = piece.end;
        else
            items.push_back(piece);
    }
    const bool numbered = !items.empty() && items.back().item != 0; // else it is no output of ours
    if (numbered) items.pop_back();
    return items;
}

StreamedFile::StreamedFile(const std::string &target, const PieceScanner &scanner, Begin begin,
                           const TitleOf &titleOf)
    : target_(resolvedTarget(target)), path_(target_) {
    if (target == standardOutput) {
        file_ = Descriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
        if (!file_.isOpen()) failWriting("standard output", std::strerror(errno));
        return;
    }
    std::error_code error;
    if (fs::is_directory(target_, error)) failWriting(target, "it is a folder");
    if (!isReplaceable(target_)) {
        open();
        return;
    }
    path_ += ".part";
    // Looked at before there is an unfinished file, which would take precedence from then on.
    std::optional<std::string> finished;
    if (begin == Begin::resume && !fs::exists(path_, error)) finished = textOf(target_);
    if (finished) requireOurs(target_, scanner(*finished), titleOf);
    open();
    if (finished) append(*finished);
    if (begin == Begin::resume) pieces_ = scanner(textOf(path_).value_or(""));
    requireOurs(path_, pieces_, titleOf);
    cutAt(pieces_.empty() ? 0 : pieces_.back().end);
}

// An unfinished file without contents that stands for nothing is not left behind. Beside a target
// it stands for a run that has got nowhere yet, and so must not go on with that target.
StreamedFile::~StreamedFile() {
    std::error_code error;
    if (!file_.isOpen() || !isRegular() || fs::exists(target_, error)) return;
    if (fs::file_size(path_, error) == 0) fs::remove(path_, error);
}

void StreamedFile::open() {
    const int link = isRegular() ? O_NOFOLLOW : 0; // of the target itself they are resolved
    do {
        file_ = Descriptor(::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | link,
                                  ownersUmaskDecides));
        if (!file_.isOpen()) failWriting(target_, std::strerror(errno));
        if (isRegular() && !lock(file_.number())) failLocked(target_);
    } while (isRegular() && !leadsTo(path_, file_.number()));
}

void StreamedFile::append(std::string_view piece) {
    writeAll(file_, piece, target_);
}

void StreamedFile::cutAt(std::size_t size) {
    if (ftruncate(file_.number(), static_cast<off_t>(size)) != 0) {
        failWriting(target_, std::strerror(errno));
    }
}

void StreamedFile::cutBehind(std::size_t item) {
    if (!isRegular()) return;
    while (lastItem() > item)
        pieces_.pop_back();
    cutAt(pieces_.empty() ? 0 : pieces_.back().end);
}

// What is already there is not given up for nothing at all.
void StreamedFile::commit() {
    if (!isRegular()) return;
    std::error_code error;
    if (fs::exists(target_, error) && fs::file_size(path_, error) == 0) {
        fs::remove(path_, error);
        file_.close();
        return;
    }
    replaceFile(file_, path_, target_);
    file_.close();
}

std::size_t resumeAfter(const std::vector<StreamedFile *> &files) {
    std::optional<std::size_t> last;
    for (const auto *file : files)
        if (file->isRegular()) last = std::min(last.value_or(file->lastItem()), file->lastItem());
    for (auto *file : files)
        file->cutBehind(last.value_or(0));
    return last.value_or(0);
}

} // namespace saddlefit::cli
