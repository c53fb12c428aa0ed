// Options that are a choice of words, and the one of them that several commands have.
#pragma once

#include "cli/host.hpp"
#include "host/reactions/drawing.hpp"

#include <CLI/CLI.hpp>

#include <map>
#include <string>

namespace saddlefit::cli {

template <class Value>
void addChoice(CLI::App &command, const std::string &names, Value &value,
               const std::map<std::string, Value> &values, const std::string &text) {
    std::string list;
    for (const auto &[name, meaning] : values)
        list += (list.empty() ? "" : "|") + name;
    const auto toNumber = [values, list](std::string &word) {
        const auto found = values.find(word);
        if (found == values.end()) return "\"" + word + "\" is none of " + list;
        word = std::to_string(static_cast<int>(found->second));
        return std::string{};
    };
    command.add_option(names, value, text)
        ->transform(CLI::Validator(toNumber, ""))
        ->type_name(list);
}

inline void addOrdersOption(CLI::App &command, Orders &orders) {
    const std::map<std::string, Orders> ordersByName{
        {"drawn", Orders::drawn}, {"harmonised", Orders::harmonised}, {"smiles", Orders::smiles}};
    addChoice(command, "--orders", orders, ordersByName,
              "Bond orders: as drawn, brought to one way of drawing (default), or from the data "
              "field MAPPED_SMILES");
}

} // namespace saddlefit::cli
