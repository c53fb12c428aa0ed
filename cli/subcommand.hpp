/// What the commands of the program have in common with each other.
#pragma once

#include "cli/commands.hpp"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace saddlefit::cli {

template <class Options> struct Subcommand {
    CLI::App &parser;
    Options &options;
};

/// A command whose options live as long as the parser. If it is given, `run` is to be done.
template <class Options>
Subcommand<Options> addSubcommand(CLI::App &parent, Action &chosen, const std::string &name,
                                  const std::string &summary, int (*run)(const Options &)) {
    auto *command = parent.add_subcommand(name, summary);
    const auto options = std::make_shared<Options>();
    command->callback(
        [&chosen, options, run] { chosen = [options, run] { return run(*options); }; });
    return {*command, *options};
}

/// An argument that has to be given.
template <class Value>
CLI::Option *addArgument(CLI::App &command, const std::string &name, Value &value,
                         const std::string &text) {
    return command.add_option(name, value, text)->required()->type_name("");
}

} // namespace saddlefit::cli
