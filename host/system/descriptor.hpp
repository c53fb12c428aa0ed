/// A file descriptor that closes itself.
#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace saddlefit::host {

/// Programs that are started do not inherit it. It is never one of the three standard numbers,
/// which are free if the caller closed them: what is printed would go into the wrong file.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {
        if (number_ < 0 || number_ > STDERR_FILENO) return;
        number_ = fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        ::close(number);
    }
    Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() { close(); }

    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }
    void close() {
        if (isOpen()) ::close(std::exchange(number_, -1));
    }

private:
    int number_ = -1;
};

} // namespace saddlefit::host
