#include "cli/suggestion.hpp"

#include <algorithm>
#include <cstddef>

namespace saddlefit::cli {

namespace {

// By V. I. Levenshtein, with neighbours exchanged as one step (F. J. Damerau).
std::size_t stepsBetween(const std::string &a, const std::string &b) {
    std::vector<std::vector<std::size_t>> steps(a.size() + 1,
                                                std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            auto &here = steps[i][j];
            here = std::max(i, j);
            if (i == 0 || j == 0) continue;
            const std::size_t differ = a[i - 1] == b[j - 1] ? 0 : 1;
            here =
                std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + differ});
            const bool exchanged = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (exchanged) here = std::min(here, steps[i - 2][j - 2] + 1);
        }
    }
    return steps[a.size()][b.size()];
}

} // namespace

std::string nearestWord(const std::string &word, const std::vector<std::string> &known) {
    std::string nearest;
    auto fewest = std::max<std::size_t>(word.size() / 3, 1) + 1;
    for (const auto &one : known) {
        const auto steps = stepsBetween(word, one);
        if (steps < fewest) nearest = one;
        fewest = std::min(fewest, steps);
    }
    return nearest;
}

} // namespace saddlefit::cli
