#include "host/store/record_bytes.hpp"

#include "host/system/error.hpp"

#include <cerrno>
#include <cstring>

namespace saddlefit::host {

namespace {

[[noreturn]] void fail(const std::string &path, const char *reason) {
    throw Error(ErrorKind::system, std::string("the database cannot be read (") + reason +
                                       "); check the disk, or go back to a copy")
        .at({path});
}

} // namespace

RecordBytes::RecordBytes(const std::string &path)
    : path_(path), file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (!file_.isOpen()) fail(path_, std::strerror(errno));
}

std::string RecordBytes::at(std::size_t offset, std::size_t size) const {
    std::string bytes(size, '\0');
    for (std::size_t done = 0; done < size;) {
        const auto count = pread(file_.number(), bytes.data() + done, size - done,
                                 static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) fail(path_, count < 0 ? std::strerror(errno) : "it has become shorter");
        done += static_cast<std::size_t>(count);
    }
    return bytes;
}

} // namespace saddlefit::host
