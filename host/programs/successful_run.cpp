#include "host/programs/successful_run.hpp"

#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <cstring>
#include <fstream>

namespace saddlefit::host {

namespace {

std::string described(const ProgramResult &result) {
    if (result.end == ProgramEnd::killed)
        return "was ended by signal " + std::to_string(result.value);
    return "failed with status " + std::to_string(result.value);
}

} // namespace

void runToSuccess(const ProgramCall &call, const ProgramAdvice &advice) {
    const auto result = runProgram(call);
    switch (result.end) {
    case ProgramEnd::notFound:
        throw Error(ErrorKind::noProgram, "the program " + call.program + " is not there; " +
                                              advice.install + " and see that PATH leads to it");
    case ProgramEnd::notStarted:
        throw Error(ErrorKind::noProgram, "the program " + call.program + " cannot be started (" +
                                              std::strerror(result.value) + "); check its rights");
    case ProgramEnd::timedOut:
        throw Error(ErrorKind::limit, advice.name + " took longer than " +
                                          formatted("%g", call.timeLimit) + " s; " +
                                          advice.tooLong + advice.lastWords());
    case ProgramEnd::exited:
        if (result.value == 0) return;
        break;
    case ProgramEnd::killed:
        break;
    }
    throw Error(ErrorKind::program,
                advice.name + " " + described(result) + "; " + advice.failed + advice.lastWords());
}

std::vector<std::string> linesOf(const std::string &path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string text; std::getline(file, text);)
        lines.push_back(text);
    return lines;
}

void writeInput(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary);
    if (!(file << text).flush()) {
        throw Error(ErrorKind::system,
                    "cannot be written; make room there, or set TMPDIR to another folder")
            .at({path});
    }
}

} // namespace saddlefit::host
