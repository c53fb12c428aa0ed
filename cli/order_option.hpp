// Options that are a choice of words, and the one of them that several commands have.
#pragma once

#include "cli/host.hpp"
#include "host/reactions/drawing.hpp"
#include "host/system/words.hpp"

#include <CLI/CLI.hpp>

#include <string>

namespace saddlefit::cli {

template <class Value>
void addChoice(CLI::App &command, const std::string &names, Value &value, const std::string &text) {
    std::string list;
    for (const auto &word : wordsFor<Value>)
        list += (list.empty() ? "" : "|") + std::string(word.text);
    const auto toNumber = [list](std::string &word) {
        const auto found = valueNamed<Value>(word);
        if (!found) return "\"" + word + "\" is none of " + list;
        word = std::to_string(static_cast<int>(*found));
        return std::string{};
    };
    command.add_option(names, value, text)
        ->transform(CLI::Validator(toNumber, ""))
        ->type_name(list);
}

inline void addOrdersOption(CLI::App &command, Orders &orders) {
    addChoice(command, "--orders", orders,
              "Bond orders: as drawn, brought to one way of drawing (default), or from the data "
              "field MAPPED_SMILES");
}

} // namespace saddlefit::cli
