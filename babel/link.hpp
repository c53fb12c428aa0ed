#pragma once

#include "host/structures/babel_protocol.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <utility>

namespace saddlefit::babel {

/// A request that has arrived.
struct Request {
    FrameKind kind;
    std::string body;
};

/// This program's end of the socket. It waits as long as there is nothing to do, and ends the
/// process when the other side has gone. Parts of a reply leave in batches; those that wait when
/// the process is about to die are sent first, so that the other side knows which record it died
/// of.
class Link {
public:
    /// Takes the socket from standard input; the three standard descriptors lead nowhere then, for
    /// Open Babel may print.
    Link();

    /// Nothing when the other side is done. Throws ProtocolError.
    std::optional<Request> next();

    template <class Message> void send(FrameKind kind, const Message &message) {
        sendFrame(kind, encoded(message));
    }

    /// The process ends by itself if it sends nothing for so long: its master may have died.
    void setPatience(std::uint64_t milliseconds);

private:
    using Clock = std::chrono::steady_clock;

    void sendFrame(FrameKind kind, const std::string &body);
    void flush();
    bool receive(char *bytes, std::size_t size) const;

    int socket_ = -1;
    std::uint64_t patience_ = 0;
    std::string waiting_;
    Clock::time_point flushed_;
};

} // namespace saddlefit::babel
