/// The words by which options and files call the values of an enumeration: a table for each, beside
/// its declaration.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace saddlefit::host {

template <class Value> struct Word {
    Value value;
    const char *text;
};

/// To be specialised: an array of the Word of each value.
template <class Value> inline constexpr std::array<Word<Value>, 0> wordsFor{};

/// Empty for a value without a word.
template <class Value> constexpr const char *wordOf(Value value) {
    for (const auto &word : wordsFor<Value>)
        if (word.value == value) return word.text;
    return "";
}

template <class Value> constexpr std::optional<Value> valueNamed(std::string_view text) {
    for (const auto &word : wordsFor<Value>)
        if (word.text == text) return word.value;
    return std::nullopt;
}

} // namespace saddlefit::host
