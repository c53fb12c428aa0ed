#include "host/structures/babel.hpp"

#include "host/system/companion.hpp"
#include "host/system/own_folders.hpp"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

namespace saddlefit::host {

namespace {

using babel::FailureKind;
using babel::FrameHeader;
using babel::FrameKind;

constexpr const char *programName = "saddlefit-babel";
constexpr const char *missingRemedy =
    "install saddlefit's part for Open Babel, name the program in the environment variable "
    "SADDLEFIT_BABEL, or give an SDF or XYZ file";

std::string describe(int status) {
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return "signal " + std::to_string(signal) + ", " + strsignal(signal);
    }
    return "status " + std::to_string(WEXITSTATUS(status));
}

std::string inSeconds(std::chrono::milliseconds time) {
    const auto text = std::to_string(std::chrono::duration<double>(time).count());
    return text.substr(0, text.find('.') + 2) + " s";
}

std::string explain(const babel::Failure &failure) {
    switch (failure.kind) {
    case FailureKind::unknownFormat:
        return "Open Babel knows no such format; \"obabel -L formats\" lists them";
    case FailureKind::compressedFile:
        return "the file is compressed; unpack it with gunzip";
    case FailureKind::notReadable:
        return "Open Babel writes this format but does not read it";
    case FailureKind::notWritable:
        return "Open Babel reads this format but does not write it";
    case FailureKind::brokenInput:
        return failure.text.empty() ? "Open Babel cannot make sense of it; correct it"
                                    : "Open Babel cannot make sense of it: " + failure.text;
    case FailureKind::noForceField:
        return "Open Babel lacks the force field; install its data files";
    case FailureKind::noParameters:
        return "the force field has no parameters for an element of the structure";
    case FailureKind::outOfMemory:
        return "Open Babel has used up the memory it is allowed; give it less at a time";
    case FailureKind::noStructure:
    case FailureKind::notUnderstood:
        break;
    }
    return "Open Babel finds no answer: " + failure.text;
}

ErrorKind kindOf(FailureKind kind) {
    if (kind == FailureKind::noForceField) return ErrorKind::noProgram;
    return kind == FailureKind::outOfMemory ? ErrorKind::limit : ErrorKind::input;
}

template <class Request>
std::string frameOf(FrameKind kind, const BabelLimits &limits, const Request &request) {
    babel::Encoder body;
    body(
        babel::Limits{static_cast<std::uint64_t>(limits.time.count()), limits.memory, limits.stack},
        request);
    const FrameHeader header{babel::protocolMagic, static_cast<std::uint32_t>(kind),
                             body.bytes().size()};
    return std::string(reinterpret_cast<const char *>(&header), sizeof header) + body.bytes();
}

} // namespace

std::string Babel::findProgram() {
    constexpr std::array places{".",
                                "../babel",
                                "../../babel",
                                "../libexec/saddlefit",
                                "../../libexec/saddlefit",
                                "../../../libexec/saddlefit"};
    for (const auto &folder : ownFolders()) {
        for (const char *place : places) {
            const auto path = (folder / place / programName).lexically_normal();
            if (access(path.c_str(), X_OK) == 0) return path.string();
        }
    }
    const std::string installed = SADDLEFIT_LIBEXEC "/saddlefit/" + std::string(programName);
    return access(installed.c_str(), X_OK) == 0 ? installed : std::string{};
}

Babel::Babel(std::string program, const BabelLimits &limits)
    : program_(std::move(program)), limits_(limits) {}

Babel::~Babel() = default;

void Babel::setProgram(std::string program) {
    const std::lock_guard lock(mutex_);
    program_ = std::move(program);
    companion_.reset();
}

void Babel::setLimits(const BabelLimits &limits) {
    const std::lock_guard lock(mutex_);
    limits_ = limits;
}

int Babel::process() const {
    const std::lock_guard lock(mutex_);
    return companion_ && companion_->isOurs() ? companion_->process() : -1;
}

// ---- the conversation -------------------------------------------------------------------------

Babel::Time Babel::deadline() const {
    return std::chrono::steady_clock::now() + patience_;
}

void Babel::fail(bool timedOut) {
    const int status = companion_->end();
    companion_.reset();
    if (timedOut || (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)) {
        throw Error(ErrorKind::limit, "Open Babel gave no answer within " + inSeconds(patience_) +
                                          "; try it with less, or with SDF or XYZ");
    }
    throw Error(ErrorKind::program, "Open Babel ended over it (" + describe(status) +
                                        "); correct it, or convert it to SDF or XYZ with "
                                        "another program");
}

void Babel::failConfused(const std::string &what) {
    companion_.reset();
    throw Error(ErrorKind::program, "the program saddlefit-babel does not answer as "
                                    "agreed (" +
                                        what + "); install the one of this version");
}

Babel::Frame Babel::nextFrame(Time deadline) {
    const auto receive = [&](char *bytes, std::size_t size) {
        const auto outcome = companion_->receive(bytes, size, deadline);
        if (outcome != Transfer::complete) fail(outcome == Transfer::timedOut);
    };
    FrameHeader header;
    receive(reinterpret_cast<char *>(&header), sizeof header);
    babel::checkHeader(header);
    Frame frame{static_cast<FrameKind>(header.kind), std::string(header.size, '\0')};
    receive(frame.body.data(), frame.body.size());
    return frame;
}

void Babel::start() {
    if (companion_ && companion_->isOurs()) return;
    companion_.reset();
    const auto program = program_.empty() ? findProgram() : program_;
    if (program.empty() || access(program.c_str(), X_OK) != 0) {
        const auto name = program.empty() ? std::string(programName) : program;
        throw Error(ErrorKind::noProgram, "this takes Open Babel, and its program " + name +
                                              " is not there or must not be run; " + missingRemedy);
    }
    companion_ = std::make_unique<Companion>(program, limits_.stack);
    try {
        const auto frame = nextFrame(deadline());
        const auto hello = babel::decoded<babel::Hello>(frame.body);
        if (frame.kind != FrameKind::hello || hello.version != babel::protocolVersion) {
            throw babel::ProtocolError("version " + std::to_string(hello.version));
        }
    } catch (const Error &error) {
        if (error.kind() != ErrorKind::program) throw;
        throw Error(ErrorKind::noProgram, "this takes Open Babel, and its program " + program +
                                              " cannot be loaded (is libopenbabel installed?); " +
                                              missingRemedy);
    }
}

std::string Babel::exchange(const std::string &frame, const TakePart &takePart) {
    // A program that ends before it has read all of the request may have said why.
    if (companion_->send(frame, deadline()) == Transfer::timedOut) fail(true);
    for (;;) {
        auto answer = nextFrame(deadline());
        if (answer.kind == FrameKind::done) return std::move(answer.body);
        if (answer.kind == FrameKind::failed) {
            const auto failure = babel::decoded<babel::Failure>(answer.body);
            throw BabelRefusal({kindOf(failure.kind), explain(failure)}, failure);
        }
        if (answer.kind != FrameKind::part) throw babel::ProtocolError("a frame out of place");
        if (takePart) takePart(answer.body);
    }
}

/// What escapes in the midst of an answer leaves bytes behind that the next request must not meet.
template <class Reply, class Request>
Reply Babel::ask(FrameKind kind, const Request &request, const TakePart &takePart,
                 BabelPatience patience) {
    const std::lock_guard lock(mutex_);
    auto limits = limits_;
    limits.time = patience_ = std::min(patience.times * limits_.time, patience.most);
    try {
        start();
        const auto end = exchange(frameOf(kind, limits, request), takePart);
        return babel::decoded<Reply>(end);
    } catch (const BabelRefusal &) {
        throw;
    } catch (const babel::ProtocolError &error) {
        failConfused(error.what());
    } catch (...) {
        companion_.reset();
        throw;
    }
}

// ---- the requests -----------------------------------------------------------------------------

std::vector<babel::Format> Babel::formats() {
    std::vector<babel::Format> formats;
    ask<babel::Nothing>(FrameKind::listFormats, babel::ListFormats{}, [&](const std::string &part) {
        formats.push_back(babel::decoded<babel::Format>(part));
    });
    return formats;
}

babel::ReadEnd Babel::read(const babel::Read &request,
                           const std::function<void(babel::Molecule)> &take) {
    return ask<babel::ReadEnd>(FrameKind::read, request, [&](const std::string &part) {
        take(babel::decoded<babel::Molecule>(part));
    });
}

std::string Babel::write(const babel::Write &request) {
    return ask<std::string>(FrameKind::write, request);
}

babel::Molecule Babel::perceiveBonds(const babel::PerceiveBonds &request) {
    return ask<babel::Molecule>(FrameKind::perceiveBonds, request);
}

babel::Molecule Babel::parseSmiles(const babel::ParseSmiles &request) {
    return ask<babel::Molecule>(FrameKind::parseSmiles, request);
}

std::string Babel::writeSmiles(const babel::WriteSmiles &request) {
    return ask<std::string>(FrameKind::writeSmiles, request);
}

babel::Positions Babel::relax(const babel::Relax &request) {
    return ask<babel::Positions>(FrameKind::relax, request, {}, {.times = 10});
}

std::vector<babel::Match> Babel::match(const babel::MatchPattern &request) {
    return ask<std::vector<babel::Match>>(FrameKind::match, request);
}

babel::Positions Babel::embed(const babel::Embed &request, std::chrono::milliseconds time) {
    return ask<babel::Positions>(FrameKind::embed, request, {}, {.most = time});
}

Babel &sharedBabel() {
    static Babel babel;
    return babel;
}

} // namespace saddlefit::host
