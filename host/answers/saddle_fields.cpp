#include "host/answers/saddle_fields.hpp"

#include "host/answers/answer_saddle.hpp"
#include "host/structures/molfile.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <array>

namespace saddlefit::host {

namespace {

std::string number(const std::optional<double> &value, int digits) {
    return value ? formatted("%.*f", digits, *value) : std::string{};
}

std::string word(const char *key, const std::string &value) {
    return value.empty() ? std::string{} : std::string(" ") + key + "=" + value;
}

} // namespace

std::string saddleFields(const ReactionSaddle &saddle) {
    const auto *found = saddle.found();
    std::string text = field(saddleField, saddle.outcome) +
                       field("SADDLE_REASON", sdfLine(saddle.reason)) +
                       field("STRUCTURE", found ? "saddle point" : "guess") +
                       field("LEVEL", saddle.level) + field("CHECK", wordOf(saddle.check));
    if (found) {
        text += field("ENERGY", number(found->energy, 8)) +
                field("BARRIER", number(saddle.barrier, 2)) +
                field("WAVENUMBER", number(found->wavenumber, 1)) +
                field("FLAT", saddle.flat ? "yes" : "") +
                field("SADDLE_REACTION", sdfLine(reactionOver(*found)));
    }
    return text + field("GRADIENTS", std::to_string(saddle.gradients));
}

bool isSaddleField(const std::string &name) {
    constexpr std::array names{saddleField, "SADDLE_REASON", "STRUCTURE",      "LEVEL",
                               "CHECK",     "ENERGY",        "BARRIER",        "WAVENUMBER",
                               "FLAT",      "GRADIENTS",     "SADDLE_REACTION"};
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string saddleWords(const ReactionSaddle &saddle) {
    const auto *found = saddle.found();
    std::string text = word("saddle", "\"" + saddle.outcome + "\"") + word("level", saddle.level);
    if (found) {
        text += word("energy_hartree", number(found->energy, 8)) +
                word("barrier_kcal", number(saddle.barrier, 2)) +
                word("wavenumber_cm", number(found->wavenumber, 1));
    }
    return text + word("gradients", std::to_string(saddle.gradients));
}

} // namespace saddlefit::host
