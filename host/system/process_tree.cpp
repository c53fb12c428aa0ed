#include "host/system/process_tree.hpp"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>
#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace saddlefit::host {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr int mostRounds = 1000; // of something that starts processes faster than they are ended

std::string folderOf(pid_t process) {
    return "/proc/" + std::to_string(process);
}

// "1234 (name) S 1 ...", where the name may hold anything. False once it is gone.
bool isAlive(pid_t process) {
    std::ifstream file(folderOf(process) + "/stat");
    std::string text;
    std::getline(file, text);
    const auto end = text.rfind(") ");
    return end != std::string::npos && text[end + 2] != 'Z' && text[end + 2] != 'X';
}

// Of all its threads. Without such files in /proc there are none to be seen.
std::vector<pid_t> childrenOf(pid_t process) {
    std::vector<pid_t> children;
    std::error_code error;
    for (fs::directory_iterator thread(folderOf(process) + "/task", error), end; thread != end;
         thread.increment(error)) {
        std::ifstream file(thread->path() / "children");
        for (pid_t child = 0; file >> child;)
            if (isAlive(child)) children.push_back(child);
    }
    return children;
}

// Children come behind their parents.
std::vector<pid_t> descendantsOf(pid_t process) {
    auto found = childrenOf(process);
    for (std::size_t i = 0; i < found.size(); ++i) {
        const auto below = childrenOf(found[i]);
        found.insert(found.end(), below.begin(), below.end());
    }
    return found;
}

} // namespace

void adoptOrphans() {
#ifdef __linux__
    prctl(PR_SET_CHILD_SUBREAPER, 1);
#endif
}

// It is stopped first: as long as it lives, no descendant gets another parent than one of them.
int endProcessTree(pid_t child) {
    kill(child, SIGSTOP);
    for (int round = 0; round < mostRounds; ++round) {
        const auto descendants = descendantsOf(child);
        if (descendants.empty()) break;
        for (const auto process : descendants)
            kill(process, SIGKILL);
        std::this_thread::sleep_for(1ms);
    }
    kill(-child, SIGKILL);
    kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    return status;
}

} // namespace saddlefit::host
