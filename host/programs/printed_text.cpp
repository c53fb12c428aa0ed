#include "host/programs/printed_text.hpp"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>

namespace saddlefit::host {

std::vector<std::string> wordsIn(const std::string &line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

std::optional<double> numberIn(std::string word) {
    std::replace(word.begin(), word.end(), 'D', 'E');
    char *end = nullptr;
    const double value = std::strtod(word.c_str(), &end);
    if (end == word.c_str() || *end != '\0') return std::nullopt;
    return value;
}

std::string inLowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

} // namespace saddlefit::host
