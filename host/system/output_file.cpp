#include "host/system/output_file.hpp"

#include "host/system/descriptor.hpp"
#include "host/system/error.hpp"
#include "host/system/open_file.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace saddlefit::host {

namespace {

namespace fs = std::filesystem;

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

OutputFile::OutputFile(const std::string &target) : target_(resolvedTarget(target)) {
    std::error_code error;
    if (fs::is_directory(target_, error)) failWriting(target, "it is a folder");
    path_ = target_;
    if (!isReplaceable(target_)) return;
    path_ += ".part" + std::to_string(getpid());
    const OpenFile file(std::fopen(path_.c_str(), "wbx")); // x: fails if it exists
    if (!file) failWriting(target, std::strerror(errno));
    std::remove(path_.c_str());
}

OutputFile::~OutputFile() {
    if (path_ != target_) std::remove(path_.c_str());
}

void OutputFile::write(const std::string &text) {
    OpenFile file(std::fopen(path_.c_str(), "ab"));
    if (!file) failWriting(target_, std::strerror(errno));
    const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
    if (std::fclose(file.release()) != 0 || !written) failWriting(target_, std::strerror(errno));
}

void OutputFile::copyFromTarget() {
    std::error_code error;
    if (!fs::exists(target_, error)) return;
    fs::copy_file(target_, path_, fs::copy_options::overwrite_existing, error);
    if (error) failWriting(target_, error.message());
}

// What the new name leads to has to be on the disk before the old contents may go.
void OutputFile::commit() {
    if (path_ == target_) return;
    const Descriptor file(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen() || fsync(file.number()) != 0) failWriting(target_, std::strerror(errno));
    std::error_code error;
    if (fs::exists(target_, error)) {
        fs::permissions(path_, fs::status(target_, error).permissions(), error);
    }
    fs::rename(path_, target_, error);
    if (error) failWriting(target_, error.message());
    path_ = target_;
}

} // namespace saddlefit::host
