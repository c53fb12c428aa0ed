#include "babel/link.hpp"

#include <array>
#include <cerrno>
#include <csignal>
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

constexpr std::size_t batchSize = 1 << 16;
constexpr std::chrono::milliseconds batchTime{20};

void sendAll(int socket, const char *bytes, std::size_t size) {
    while (size > 0) {
        const auto count = ::send(socket, bytes, size, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) _exit(0);
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
}

// What a dying process still has to send. Nothing here changes while Open Babel is at work.
volatile int lastSocket = -1;
const char *volatile lastBytes = nullptr;
volatile std::size_t lastSize = 0;

extern "C" void sendAndDie(int signal) {
    sendAll(lastSocket, lastBytes, lastSize);
    raise(signal); // which is back at its default, and comes when this function is left
}

/// On a stack of its own, for the usual one may be what has run out.
void catchDeath() {
    static std::array<char, 1 << 16> stack;
    const stack_t own{stack.data(), 0, stack.size()};
    sigaltstack(&own, nullptr);
    struct sigaction action {};
    action.sa_handler = sendAndDie;
    action.sa_flags = static_cast<int>(SA_ONSTACK | SA_RESETHAND);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGALRM})
        sigaction(signal, &action, nullptr);
}

} // namespace

Link::Link() : socket_(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    const int nowhere = open("/dev/null", O_RDWR);
    if (socket_ < 0 || nowhere < 0) throw ProtocolError("standard input is closed");
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nowhere, standard);
    if (nowhere > STDERR_FILENO) close(nowhere);
    lastSocket = socket_;
    catchDeath();
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

std::optional<Request> Link::next() {
    setAlarm(0);
    FrameHeader header;
    if (!receive(reinterpret_cast<char *>(&header), sizeof header)) return std::nullopt;
    checkHeader(header);
    std::string body(header.size, '\0');
    if (!receive(body.data(), body.size())) return std::nullopt;
    return Request{static_cast<FrameKind>(header.kind), std::move(body)};
}

void Link::setPatience(std::uint64_t milliseconds) {
    patience_ = milliseconds;
    setAlarm(patience_);
    flushed_ = Clock::now();
}

void Link::sendFrame(FrameKind kind, const std::string &body) {
    const FrameHeader header{protocolMagic, static_cast<std::uint32_t>(kind), body.size()};
    lastSize = 0;
    waiting_.append(reinterpret_cast<const char *>(&header), sizeof header);
    waiting_ += body;
    const bool mayWait = kind == FrameKind::part && waiting_.size() < batchSize &&
                         Clock::now() - flushed_ < batchTime;
    if (!mayWait) return flush();
    lastBytes = waiting_.data();
    lastSize = waiting_.size();
}

void Link::flush() {
    sendAll(socket_, waiting_.data(), waiting_.size());
    waiting_.clear();
    flushed_ = Clock::now();
    setAlarm(patience_);
}

} // namespace saddlefit::babel
