#include "cli/commands.hpp"
#include "cli/report.hpp"
#include "cli/suggestion.hpp"
#include "host/structures/babel.hpp"

#include <CLI/CLI.hpp>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace saddlefit::cli {

namespace {

constexpr std::array commands{addReactCommand,   addSaddleCommand, addVerifyCommand,
                              addCompareCommand, addDbCommand,     addPerceiveCommand,
                              addReportCommand,  addStereoCommand};

// The command that the line has come to.
const CLI::App &parsedCommand(const CLI::App &program) {
    const auto *command = &program;
    for (auto below = command->get_subcommands(); !below.empty();
         below = command->get_subcommands())
        command = below.front();
    return *command;
}

// "saddlefit db add".
std::string fullName(const CLI::App &command) {
    const auto *parent = command.get_parent();
    return (parent == nullptr ? "" : fullName(*parent) + " ") + command.get_name();
}

std::vector<std::string> commandsOf(const CLI::App &command) {
    std::vector<std::string> names;
    for (const auto *one : command.get_subcommands([](const CLI::App *) { return true; }))
        names.push_back(one->get_name());
    return names;
}

std::vector<std::string> optionsOf(const CLI::App &command) {
    std::vector<std::string> names;
    for (const auto *option : command.get_options())
        for (const auto &name : option->get_lnames())
            names.push_back("--" + name);
    return names;
}

std::string joined(const std::vector<std::string> &words) {
    std::string text;
    for (const auto &word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

// About a word that is no command or option here; empty where there is none.
std::string aboutUnknownWord(const CLI::App &command) {
    const auto unknown = command.remaining();
    if (unknown.empty()) return {};
    const auto word = unknown.front().substr(0, unknown.front().find('='));
    const bool isOption = word.starts_with('-');
    const auto known = isOption ? optionsOf(command) : commandsOf(command);
    if (known.empty()) return {};
    const auto nearest = nearestWord(word, known);
    const auto hint = !nearest.empty() ? "; did you mean \"" + nearest + "\"?"
                      : isOption       ? std::string{}
                                       : "; the commands are " + joined(known);
    return "\"" + word + "\" is no " + (isOption ? "option" : "command") + " of \"" +
           fullName(command) + "\"" + hint;
}

// One line in the style of our own messages, whatever the parser found wrong.
std::string usageMessage(const CLI::App *program, const CLI::Error &error) {
    const auto &command = parsedCommand(*program);
    auto about = aboutUnknownWord(command);
    if (about.empty()) about = error.what();
    return "saddlefit: " + about + (about.ends_with('?') ? " \"" : "; \"") + fullName(command) +
           " --help\" explains the usage\n";
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
