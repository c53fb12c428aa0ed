#include "cli/batch/worker.hpp"

#include "cli/report.hpp"
#include "host/system/process_tree.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace saddlefit::cli {

namespace {

[[noreturn]] void failStarting() {
    throw Error(ErrorKind::system, std::string("no worker process can be started (") +
                                       std::strerror(errno) +
                                       "); ask for fewer jobs or end other programs");
}

// With MSG_NOSIGNAL, for a peer that has died is no reason to die.
bool sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

ssize_t receive(int socket, void *buffer, std::size_t size, int flags) {
    ssize_t count = 0;
    do
        count = recv(socket, buffer, size, flags);
    while (count < 0 && errno == EINTR);
    return count;
}

void keepSignalsToParent() {
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGPIPE, SIG_DFL); // as programs that it starts expect
}

// The parent may have died before the kernel was told to look.
void dieWithParent([[maybe_unused]] pid_t parent) {
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);
#endif
}

// noexcept: an exception that escaped would unwind into the parent's code in the wrong process.
[[noreturn]] void serve(int socket, const Work &work) noexcept {
    std::size_t item = 0;
    while (receive(socket, &item, sizeof item, MSG_WAITALL) == sizeof item) {
        if (!sendAll(socket, frameOf(perform(work, item)))) break;
    }
    _exit(0);
}

std::string describe(int status) {
    if (WIFSIGNALED(status)) {
        return "the worker ended with signal " + std::to_string(WTERMSIG(status));
    }
    return "the worker ended with status " + std::to_string(WEXITSTATUS(status));
}

} // namespace

Worker::Worker(const Work &work, const std::function<void()> &leaveToParent) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) failStarting();
    socket_ = Descriptor(ends[0]);
    Descriptor theirs(ends[1]);
    std::fflush(stdout); // what waits there would be printed twice
    std::fflush(stderr);
    const auto parent = getpid();
    process_ = fork();
    if (process_ < 0) failStarting();
    if (process_ > 0) {
        setpgid(process_, process_); // here as well as there: whichever comes first
        return;
    }
    setpgid(0, 0);
    keepSignalsToParent();
    dieWithParent(parent);
    adoptOrphans();
    leaveToParent();
    socket_.close();
    serve(theirs.number(), work);
}

Worker::~Worker() {
    end();
}

// A worker that has died cannot be told; takeIn() will notice.
void Worker::hand(std::size_t item) {
    sendAll(socket(), {reinterpret_cast<const char *>(&item), sizeof item});
}

bool Worker::takeIn() {
    std::array<char, 1 << 16> buffer{};
    for (;;) {
        const auto count = receive(socket(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count == 0) return false;
        if (count < 0) return errno == EAGAIN || errno == EWOULDBLOCK;
        arrived_.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

std::string Worker::end() {
    if (process_ < 0) return {};
    const auto process = std::exchange(process_, -1);
    return describe(endProcessTree(process));
}

} // namespace saddlefit::cli
