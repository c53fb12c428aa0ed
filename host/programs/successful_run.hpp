/// Other programs that are run for what they compute.
#pragma once

#include "host/system/process.hpp"

#include <functional>
#include <string>
#include <vector>

namespace saddlefit::host {

/// What is told where a program cannot be run, or fails.
struct ProgramAdvice {
    std::string name;                       ///< "xtb"
    std::string install;                    ///< how to get it
    std::string tooLong;                    ///< what to do where its time is over
    std::string failed;                     ///< what to look at where it fails
    std::function<std::string()> lastWords; ///< of what it said, as the end of a sentence
};

/// Run a program that must end with success.
/// Throws Error if it is not there or cannot be started (ErrorKind::noProgram), takes too long
/// (limit) or fails (program); Interrupted as runProgram().
void runToSuccess(const ProgramCall &call, const ProgramAdvice &advice);

/// The lines of a file; none where it cannot be read.
std::vector<std::string> linesOf(const std::string &path);

/// Write a file for a program. Throws Error where that cannot be done.
void writeInput(const std::string &path, const std::string &text);

} // namespace saddlefit::host
