/// The program that holds Open Babel: it answers requests until the other side closes the socket.
#include "babel/chemistry.hpp"
#include "babel/formats.hpp"

#include <openbabel/babelconfig.h>
#include <openbabel/obconversion.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <new>
#include <sys/resource.h>
#include <unistd.h>

namespace saddlefit::babel {

namespace {

using Answer = void (*)(Link &, Decoder &);

/// Reads the request off its bytes and has it answered.
template <class Message, void (*answer)(Link &, const Message &)>
void answerTo(Link &link, Decoder &bytes) {
    Message request;
    bytes(request);
    bytes.finish();
    answer(link, request);
}

struct Entry {
    FrameKind kind;
    Answer answer;
};

constexpr std::array entries{
    Entry{FrameKind::listFormats, answerTo<ListFormats, listFormats>},
    Entry{FrameKind::read, answerTo<Read, read>},
    Entry{FrameKind::write, answerTo<Write, write>},
    Entry{FrameKind::perceiveBonds, answerTo<PerceiveBonds, perceiveBonds>},
    Entry{FrameKind::parseSmiles, answerTo<ParseSmiles, parseSmiles>},
    Entry{FrameKind::writeSmiles, answerTo<WriteSmiles, writeSmiles>},
    Entry{FrameKind::relax, answerTo<Relax, relax>},
    Entry{FrameKind::match, answerTo<MatchPattern, match>},
    Entry{FrameKind::embed, answerTo<Embed, embed>}};

/// What the system, or whoever started the program, allows less stays as it is; 0 asks for nothing.
void limit(decltype(RLIMIT_AS) resource, std::uint64_t bytes) {
    rlimit current{};
    if (bytes == 0 || getrlimit(resource, &current) != 0) return;
    current.rlim_cur = std::min<rlim_t>(bytes, current.rlim_max);
    setrlimit(resource, &current);
}

void apply(Link &link, const Limits &limits) {
#ifndef SADDLEFIT_SANITIZED // sanitizers take terabytes of addresses for themselves
    limit(RLIMIT_AS, limits.memory);
#endif
    limit(RLIMIT_STACK, limits.stack);
    link.setPatience(limits.milliseconds);
}

void answer(Link &link, const Request &request) {
    try {
        const auto entry = std::find_if(entries.begin(), entries.end(),
                                        [&](const Entry &one) { return one.kind == request.kind; });
        if (entry == entries.end()) throw ProtocolError("this is no request");
        Decoder bytes(request.body);
        Limits limits;
        bytes(limits);
        apply(link, limits);
        entry->answer(link, bytes);
    } catch (const Failure &failure) {
        link.send(FrameKind::failed, failure);
    } catch (const std::bad_alloc &) {
        link.send(FrameKind::failed, Failure{FailureKind::outOfMemory, {}, {}});
    } catch (const std::exception &error) {
        link.send(FrameKind::failed, Failure{FailureKind::notUnderstood, error.what(), {}});
    }
}

int serve() {
    rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none); // it may well crash, and nobody wants to find the pieces
    Link link;
    link.send(FrameKind::hello, Hello{protocolVersion, BABEL_VERSION});
    while (const auto request = link.next())
        answer(link, *request);
    return 0;
}

} // namespace

} // namespace saddlefit::babel

int main(int argc, char **) {
    if (argc > 1 || isatty(STDIN_FILENO) != 0) {
        std::fputs("saddlefit-babel: saddlefit starts this program itself; it holds Open Babel and "
                   "has no use by hand\n",
                   stderr);
        return 2;
    }
    try {
        return saddlefit::babel::serve();
    } catch (const std::exception &) { // the other side sees that the socket is closed
        return 1;
    }
}
