#include "host/system/companion.hpp"

#include "host/system/error.hpp"
#include "host/system/interrupt.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace saddlefit::host {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t bufferSize = 1 << 16;
constexpr auto longestWait = 100ms; // until an interrupt is noticed

[[noreturn]] void failStarting(const std::string &program) {
    throw Error(ErrorKind::system,
                program + ": cannot be started (" + std::strerror(errno) + "); end other programs");
}

/// One thread: several that wait for each other in a loop, as OpenMP's do, come to a standstill on
/// a machine that is busy, and add up in an order of their own.
std::vector<char *> environmentWithOneThread() {
    static char oneThread[] = "OMP_NUM_THREADS=1";
    std::vector<char *> entries{oneThread};
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        if (!std::string_view(*entry).starts_with("OMP_NUM_THREADS=")) entries.push_back(*entry);
    }
    entries.push_back(nullptr);
    return entries;
}

/// In the new process: nothing here may ask for memory.
[[noreturn]] void become(const char *program, char *const *environment, int socket,
                         rlim_t stack) noexcept {
    std::array<char *, 2> arguments{const_cast<char *>(program), nullptr};
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGQUIT, SIG_IGN);
    for (const int one : {SIGTERM, SIGPIPE, SIGALRM})
        std::signal(one, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    rlimit size{};
    getrlimit(RLIMIT_STACK, &size);
    size.rlim_cur = std::min(stack, size.rlim_max);
    setrlimit(RLIMIT_STACK, &size); // before it starts: the addresses are shared out then
    dup2(socket, STDIN_FILENO);
    execve(program, arguments.data(), environment);
    _exit(127);
}

/// False when the time is over.
bool waitFor(int socket, short event, Companion::Time deadline) {
    for (;;) {
        throwIfInterrupted();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left <= 0ms) return false;
        pollfd entry{socket, event, 0};
        const int count = poll(&entry, 1, static_cast<int>(std::min(left, longestWait).count()));
        if (count > 0 || (count < 0 && errno != EINTR)) return true;
    }
}

bool isWaiting(ssize_t count) {
    return count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
}

} // namespace

Companion::Companion(const std::string &program, std::uint64_t stack) : owner_(getpid()) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) failStarting(program);
    socket_ = Descriptor(ends[0]);
    const Descriptor theirs(ends[1]);
    const auto environment = environmentWithOneThread();
    process_ = fork();
    if (process_ < 0) failStarting(program);
    if (process_ == 0) become(program.c_str(), environment.data(), theirs.number(), stack);
}

Companion::~Companion() {
    end();
}

bool Companion::isOurs() const {
    return getpid() == owner_;
}

Transfer Companion::send(std::string_view bytes, Time deadline) const {
    while (!bytes.empty()) {
        const auto count =
            ::send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (isWaiting(count)) {
            if (!waitFor(socket_.number(), POLLOUT, deadline)) return Transfer::timedOut;
            continue;
        }
        if (count < 0) return Transfer::closed;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return Transfer::complete;
}

Transfer Companion::receive(char *bytes, std::size_t size, Time deadline) {
    while (size > 0) {
        if (taken_ < arrived_.size()) {
            const auto count = std::min(size, arrived_.size() - taken_);
            std::memcpy(bytes, arrived_.data() + taken_, count);
            taken_ += count;
            bytes += count;
            size -= count;
            continue;
        }
        arrived_.resize(bufferSize);
        taken_ = 0;
        const auto count = recv(socket_.number(), arrived_.data(), bufferSize, MSG_DONTWAIT);
        arrived_.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        if (count > 0) continue;
        if (!isWaiting(count)) return Transfer::closed;
        if (!waitFor(socket_.number(), POLLIN, deadline)) return Transfer::timedOut;
    }
    return Transfer::complete;
}

int Companion::end() {
    socket_.close();
    if (process_ < 0 || !isOurs()) return 0;
    const auto process = std::exchange(process_, -1);
    int status = 0;
    // One that has closed its end is about to tell by its status why.
    for (int turn = 0; turn < 50; ++turn) {
        if (waitpid(process, &status, WNOHANG) == process) return status;
        if (turn == 0) continue;
        usleep(1000);
    }
    kill(process, SIGKILL);
    while (waitpid(process, &status, 0) < 0 && errno == EINTR)
        continue;
    return status;
}

} // namespace saddlefit::host
