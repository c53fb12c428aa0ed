/// Another program, run to its end.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace saddlefit::host {

struct ProgramCall {
    std::string program;                            ///< found by PATH, or a path
    std::vector<std::string> arguments;             ///< as they are: no shell reads them
    std::string folder;                             ///< where it runs
    std::string log;                                ///< a file for what it prints, on both outputs
    std::map<std::string, std::string> environment; ///< beside, or instead of, the caller's
    double timeLimit = 0;                           ///< seconds; 0: none
};

enum class ProgramEnd { exited, killed, timedOut, notFound, notStarted };

struct ProgramResult {
    ProgramEnd end = ProgramEnd::exited;
    int value = 0; ///< exit status, or signal, or errno of what was not started
};

/// Run a program; its standard input is empty. It gets a process group of its own. When the time is
/// over it is killed with what it has started, in whatever group; and it dies with the calling
/// thread (on Linux). Throws Interrupted once it has been killed for that.
ProgramResult runProgram(const ProgramCall &call);

/// Whether there is such a program: a path, or a name in one of the folders of PATH.
bool canBeFound(const std::string &program);

} // namespace saddlefit::host
