#include "host/system/process.hpp"

#include "host/system/descriptor.hpp"
#include "host/system/interrupt.hpp"
#include "host/system/process_tree.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <sstream>
#include <string_view>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace saddlefit::host {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// How often the program is looked after: at first often, for it may end at once.
constexpr auto shortestNap = 1ms;
constexpr auto longestNap = 20ms;

std::vector<char *> pointersTo(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    for (auto &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environmentOf(const ProgramCall &call) {
    std::vector<std::string> entries;
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        if (!call.environment.contains(std::string(text.substr(0, text.find('='))))) {
            entries.emplace_back(text);
        }
    }
    for (const auto &[name, value] : call.environment)
        entries.push_back(name + "=" + value);
    return entries;
}

// All that the child needs, made before the fork: behind it nothing may ask for memory.
class Launch {
public:
    explicit Launch(const ProgramCall &call)
        : call_(call),
          arguments_(call.arguments),
          environment_(environmentOf(call)),
          parent_(getpid()) {
        arguments_.insert(arguments_.begin(), call.program);
        argumentPointers_ = pointersTo(arguments_);
        environmentPointers_ = pointersTo(environment_);
    }

    // In the child. Returns only where the program could not be started, with errno set.
    void start() {
        if (!dieWithParent() || !takeUsualSignals() || !redirect()) return;
        if (chdir(call_.folder.c_str()) != 0) return;
        environ = environmentPointers_.data();
        execvp(argumentPointers_.front(), argumentPointers_.data());
    }

private:
    // The parent may have died before the kernel was told to look.
    bool dieWithParent() const {
#ifdef __linux__
        return prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent_;
#else
        return true;
#endif
    }

    static bool takeUsualSignals() {
        for (const int one : {SIGINT, SIGTERM, SIGPIPE})
            std::signal(one, SIG_DFL);
        sigset_t none;
        sigemptyset(&none);
        return sigprocmask(SIG_SETMASK, &none, nullptr) == 0;
    }

    bool redirect() const {
        const int input = open("/dev/null", O_RDONLY);
        const int log = open(call_.log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        return input >= 0 && log >= 0 && dup2(input, STDIN_FILENO) >= 0 &&
               dup2(log, STDOUT_FILENO) >= 0 && dup2(log, STDERR_FILENO) >= 0;
    }

    const ProgramCall &call_;
    std::vector<std::string> arguments_, environment_;
    std::vector<char *> argumentPointers_, environmentPointers_;
    pid_t parent_;
};

[[noreturn]] void becomeProgram(Launch &launch, const Descriptor &report) noexcept {
    setpgid(0, 0);
    launch.start();
    const int reason = errno;
    [[maybe_unused]] const auto written = write(report.number(), &reason, sizeof reason);
    _exit(127);
}

// The errno of a program that could not be started. The report closes where it was.
int failureIn(const Descriptor &report) {
    int reason = 0;
    ssize_t count = 0;
    do
        count = read(report.number(), &reason, sizeof reason);
    while (count < 0 && errno == EINTR);
    return count == sizeof reason ? reason : 0;
}

ProgramResult notStarted(int reason) {
    return {reason == ENOENT ? ProgramEnd::notFound : ProgramEnd::notStarted, reason};
}

int statusOf(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR)
        continue;
    return status;
}

// Nothing if the time is over, or nobody waits any more, before the process has ended.
std::optional<int> statusInTime(pid_t process, double timeLimit) {
    const auto start = Clock::now();
    Clock::duration nap = shortestNap;
    int status = 0;
    while (waitpid(process, &status, WNOHANG) != process) {
        const std::chrono::duration<double> spent = Clock::now() - start;
        if (spent.count() > timeLimit || isInterrupted()) return std::nullopt;
        std::this_thread::sleep_for(nap);
        nap = std::min<Clock::duration>(2 * nap, longestNap);
    }
    return status;
}

ProgramResult resultOf(int status) {
    if (WIFSIGNALED(status)) return {ProgramEnd::killed, WTERMSIG(status)};
    return {ProgramEnd::exited, WEXITSTATUS(status)};
}

} // namespace

ProgramResult runProgram(const ProgramCall &call) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return notStarted(errno);
    const Descriptor report(ends[0]);
    Descriptor childsReport(ends[1]);
    Launch launch(call);
    const pid_t process = fork();
    if (process < 0) return notStarted(errno);
    if (process == 0) becomeProgram(launch, childsReport);
    setpgid(process, process); // here as well as there: whichever comes first
    childsReport.close();
    if (const int reason = failureIn(report); reason != 0) {
        statusOf(process);
        return notStarted(reason);
    }
    if (call.timeLimit <= 0) return resultOf(statusOf(process));
    if (const auto status = statusInTime(process, call.timeLimit)) return resultOf(*status);
    endProcessTree(process);
    throwIfInterrupted();
    return {ProgramEnd::timedOut, 0};
}

bool canBeFound(const std::string &program) {
    if (program.find('/') != std::string::npos) return access(program.c_str(), X_OK) == 0;
    const char *path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');)
        if (access((folder + "/" + program).c_str(), X_OK) == 0) return true;
    return false;
}

} // namespace saddlefit::host
