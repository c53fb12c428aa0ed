#include "cli/commands.hpp"
#include "cli/report.hpp"
#include "host/structures/babel.hpp"

#include <CLI/CLI.hpp>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

namespace saddlefit::cli {

namespace {

constexpr std::array commands{addReactCommand,    addCompareCommand, addDbCommand,
                              addPerceiveCommand, addReportCommand,  addStereoCommand};

// One line in the style of our own messages, whatever the parser found wrong.
std::string usageMessage(const CLI::App *, const CLI::Error &error) {
    return std::string("saddlefit: ") + error.what() +
           "; \"saddlefit --help\" explains the usage\n";
}

int parseAndRun(int argc, char **argv) {
    CLI::App program("Fits stored saddle-point structures onto reactions.", "saddlefit");
    program.set_version_flag("--version", "saddlefit " SADDLEFIT_VERSION);
    program.failure_message(usageMessage);
    program.footer(
        "\"saddlefit COMMAND --help\" explains a command. An example:\n"
        "  saddlefit db add reactions.db reactants.sdf products.sdf ts.sdf\n"
        "  saddlefit react new_reactants.sdf new_products.sdf --db reactions.db -o ts.sdf");
    Action chosen;
    for (const auto add : commands)
        add(program, chosen);
    try {
        program.parse(argc, argv);
        if (!chosen) throw CLI::RequiredError("A command");
    } catch (const CLI::ParseError &outcome) { // help and version arrive here too
        return program.exit(outcome) == 0 ? allDone : wrongUsage;
    }
    return chosen();
}

int flushed(int status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    report(Error("standard output cannot be written; check the room on the disk"));
    return somethingFailed;
}

} // namespace

} // namespace saddlefit::cli

int main(int argc, char **argv) {
    using namespace saddlefit::cli;
    try {
        if (const char *program = std::getenv("SADDLEFIT_BABEL")) {
            saddlefit::host::sharedBabel().setProgram(program);
        }
        return flushed(parseAndRun(argc, argv));
    } catch (const Error &error) {
        report(error);
    } catch (const std::filesystem::filesystem_error &error) {
        const auto path = error.path1().empty() ? "a file" : error.path1().string();
        report(Error(path + ": cannot be reached (" + error.code().message() +
                     "); check the path and your rights"));
    } catch (const std::exception &error) {
        report(Error(std::string("unexpected failure: ") + error.what()));
    }
    return somethingFailed;
}
