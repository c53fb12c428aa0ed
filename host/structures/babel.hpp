/// Open Babel, in a process of its own.
#pragma once

#include "host/structures/babel_protocol.hpp"
#include "host/system/error.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace saddlefit::host {

class Companion;

/// The answer that it cannot be done, for those who asked: they know what it was about, and say
/// what is to be done instead. It is the protocol's, with the title of a record that was not read.
class BabelRefusal : public Error {
public:
    BabelRefusal(const Error &error, babel::Failure failure)
        : Error(error), failure_(std::move(failure)) {}

    const babel::Failure &failure() const { return failure_; }

private:
    babel::Failure failure_;
};

/// Of each request. Beyond the memory or the stack the program dies, or says that it has no more.
struct BabelLimits {
    std::chrono::milliseconds time{
        60'000}; ///< to the next record, fragment or the end; a relaxation
    ///< has ten times as long
    std::uint64_t memory = std::uint64_t{4} << 30; ///< bytes of address space
    std::uint64_t stack = std::uint64_t{64} << 20; ///< bytes; that of the first request at most
};

/// With one request: so many times the limit, but no longer than that.
struct BabelPatience {
    int times = 1;
    std::chrono::milliseconds most = std::chrono::milliseconds::max();
};

/// One process of the program saddlefit-babel. It starts with the first request and again when it
/// has died. Threads may share an object (a request waits for the one before it) or have one each;
/// a process that is forked off gets a program of its own when it asks. All requests throw
/// BabelRefusal, and Error where the program is not there (ErrorKind::noProgram), dies over the
/// request or sends nonsense (program), or gives no answer in time (limit).
class Babel {
public:
    /// `program` is its path; empty: findProgram() looks for it.
    explicit Babel(std::string program = {}, const BabelLimits &limits = {});
    ~Babel();

    void setProgram(std::string program);
    void setLimits(const BabelLimits &limits);

    std::vector<babel::Format> formats();

    /// Read a whole file. `take` gets each record as soon as it is there; a broken record ends the
    /// reading with a refusal.
    babel::ReadEnd read(const babel::Read &request,
                        const std::function<void(babel::Molecule)> &take);
    std::string write(const babel::Write &request);
    babel::Molecule perceiveBonds(const babel::PerceiveBonds &request);
    babel::Molecule parseSmiles(const babel::ParseSmiles &request);
    std::string writeSmiles(const babel::WriteSmiles &request);
    babel::Positions relax(const babel::Relax &request);
    std::vector<babel::Match> match(const babel::MatchPattern &request);
    /// @param time to the next fragment or the end, where that is less than the limit
    babel::Positions embed(const babel::Embed &request, std::chrono::milliseconds time);

    /// Process id of the running program; -1 if there is none.
    int process() const;

    /// Where the program stands: beside this one, in the build tree or in libexec. Empty if
    /// nowhere.
    static std::string findProgram();

private:
    using Time = std::chrono::steady_clock::time_point;
    struct Frame {
        babel::FrameKind kind;
        std::string body;
    };

    using TakePart = std::function<void(const std::string &)>;

    template <class Reply, class Request>
    Reply ask(babel::FrameKind kind, const Request &request, const TakePart &takePart = {},
              BabelPatience patience = {});
    std::string exchange(const std::string &frame, const TakePart &takePart);
    void start();
    Frame nextFrame(Time deadline);
    Time deadline() const;
    [[noreturn]] void fail(bool timedOut);
    [[noreturn]] void failConfused(const std::string &what);

    std::string program_;
    BabelLimits limits_;
    std::chrono::milliseconds patience_{}; ///< with the request at work
    std::unique_ptr<Companion> companion_;
    mutable std::mutex mutex_;
};

/// The one that reading and relaxing use.
Babel &sharedBabel();

} // namespace saddlefit::host
