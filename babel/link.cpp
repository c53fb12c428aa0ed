#include "babel/link.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace saddlefit::babel {

namespace {

/// SIGALRM, whose default is death, after so long; never for 0.
void setAlarm(std::uint64_t milliseconds) {
    itimerval timer{};
    timer.it_value.tv_sec = static_cast<time_t>(milliseconds / 1000);
    timer.it_value.tv_usec = static_cast<suseconds_t>(milliseconds % 1000 * 1000);
    setitimer(ITIMER_REAL, &timer, nullptr);
}

} // namespace

Link::Link() : socket_(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    const int nowhere = open("/dev/null", O_RDWR);
    if (socket_ < 0 || nowhere < 0) throw ProtocolError("standard input is closed");
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nowhere, standard);
    if (nowhere > STDERR_FILENO) close(nowhere);
}

bool Link::receive(char *bytes, std::size_t size) const {
    while (size > 0) {
        const auto count = recv(socket_, bytes, size, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

std::optional<Request> Link::next() const {
    setAlarm(0);
    FrameHeader header;
    if (!receive(reinterpret_cast<char *>(&header), sizeof header)) return std::nullopt;
    checkHeader(header);
    std::string body(header.size, '\0');
    if (!receive(body.data(), body.size())) return std::nullopt;
    return Request{static_cast<FrameKind>(header.kind), std::move(body)};
}

void Link::sendFrame(FrameKind kind, const std::string &body) const {
    const FrameHeader header{protocolMagic, static_cast<std::uint32_t>(kind), body.size()};
    std::string frame(reinterpret_cast<const char *>(&header), sizeof header);
    frame += body;
    for (std::string_view rest = frame; !rest.empty();) {
        const auto count = ::send(socket_, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) _exit(0);
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    setAlarm(patience_);
}

} // namespace saddlefit::babel
