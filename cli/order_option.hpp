/// Options that are a choice of words, and those that several commands have.
#pragma once

#include "cli/host.hpp"
#include "host/reactions/bare_sides.hpp"
#include "host/reactions/drawing.hpp"
#include "host/reactions/pairing.hpp"
#include "host/system/words.hpp"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdlib>
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

/// Empty for a time that can pass.
inline std::string complaintAboutSeconds(const std::string &text) {
    char *end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    const bool fits = !text.empty() && *end == '\0' && std::isfinite(seconds) && seconds > 0;
    return fits ? "" : "\"" + text + "\" is no number of seconds above 0";
}

inline void addInputFormatOption(CLI::App &command, std::string &format) {
    command
        .add_option("--input-format", format,
                    "Format of the standard input (\"-\") and of files without an extension: sdf, "
                    "xyz, or what Open Babel reads")
        ->type_name("EXT");
}

inline void addOrdersOption(CLI::App &command, Orders &orders) {
    addChoice(command, "--orders", orders,
              "Bond orders: as drawn, brought to one way of drawing (default), or from the data "
              "field MAPPED_SMILES");
}

inline void addBareSideOptions(CLI::App &command, BareSideOptions &bareSides) {
    addChoice(command, "--bonds", bareSides.finder,
              "Where a format has no bonds, find them by Open Babel (default) or by the library");
    command
        .add_option("--charge", bareSides.charge,
                    "Charge of the molecules; default: by the records")
        ->type_name("INT");
}

inline void addPairingOptions(CLI::App &command, PairOptions &pairing) {
    addChoice(command, "--map", pairing.by,
              "Pair the atoms of both sides by their order unless another map changes fewer bonds "
              "(auto, default), by their order, or by their map numbers");
    command
        .add_option("--map-bonds", pairing.limits.bonds,
                    "Bonds broken and formed together, up to which a map is looked for")
        ->check(CLI::Range(1, 24))
        ->capture_default_str();
    command.add_option("--map-time", pairing.limits.seconds, "Seconds for the map of one reaction")
        ->check(complaintAboutSeconds)
        ->capture_default_str();
}

} // namespace saddlefit::cli
