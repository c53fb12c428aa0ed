/// A program of ours that answers on a socket.
#pragma once

#include "host/system/descriptor.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace saddlefit::host {

enum class Transfer { complete, closed, timedOut };

/// The program has the socket as its standard input, does not hear Ctrl-C, has one thread for
/// OpenMP, and ends with this object, or when all ends of the socket on this side are closed. A
/// process that was forked off has no use of its parent's companion: see isOurs().
class Companion {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// `stack` is the largest size of its stack in bytes. Throws Error if there can be no process.
    Companion(const std::string &program, std::uint64_t stack);
    ~Companion();
    Companion(const Companion &) = delete;
    Companion &operator=(const Companion &) = delete;

    /// False in a process that was forked off by the one that started the program.
    bool isOurs() const;
    pid_t process() const { return process_; }

    /// These throw Interrupted.
    Transfer send(std::string_view bytes, Time deadline) const;
    Transfer receive(char *bytes, std::size_t size, Time deadline);

    /// Kills the program unless it has ended on its own, and gives its status as waitpid() does.
    int end();

private:
    Descriptor socket_;
    std::vector<char> arrived_; ///< and not yet taken
    std::size_t taken_ = 0;
    pid_t process_ = -1;
    pid_t owner_ = -1;
};

} // namespace saddlefit::host
