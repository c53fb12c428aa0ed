#include "host/system/text.hpp"
#include "host/upkeep/statistics.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

using Bars = std::vector<std::pair<std::string, std::size_t>>;

// Pixels.
constexpr int panelWidth = 380, labelWidth = 120, barHeight = 16, headHeight = 44, margin = 16;
constexpr int barLength = panelWidth - labelWidth - 70; // with room for the number behind it
constexpr std::size_t mostBars = 14;

std::string escaped(const std::string &text) {
    std::string result;
    for (const char c : inOneLine(text)) {
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else
            result += c;
    }
    return result;
}

std::string bar(const std::string &label, std::size_t count, std::size_t highest, int x, int y) {
    const double share = static_cast<double>(count) / static_cast<double>(highest);
    const double length = std::max(1.0, barLength * share);
    return formatted("<text x=\"%d\" y=\"%d\" text-anchor=\"end\">%s</text>\n", x + labelWidth - 6,
                     y + 12, escaped(label).c_str()) +
           formatted("<rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"%d\" fill=\"#4477aa\"/>\n",
                     x + labelWidth, y + 2, length, barHeight - 4) +
           formatted("<text x=\"%.1f\" y=\"%d\">%zu</text>\n", x + labelWidth + length + 4, y + 12,
                     count);
}

std::string panel(const char *heading, const Bars &bars, int x, int y) {
    auto text = formatted("<text x=\"%d\" y=\"%d\" font-weight=\"bold\">%s</text>\n",
                          x + labelWidth, y + 12, heading);
    std::size_t highest = 1;
    for (const auto &[label, count] : bars)
        highest = std::max(highest, count);
    for (const auto &[label, count] : bars)
        text += bar(label, count, highest, x, y += barHeight + 2);
    return text;
}

// In equal classes, no more than there are bars.
Bars classesOf(const std::map<int, std::size_t> &counts, int least) {
    if (counts.empty()) return {};
    const int first = counts.begin()->first, last = counts.rbegin()->first;
    int width = least;
    while ((last - first) / width >= static_cast<int>(mostBars))
        width *= 2;
    const int begin = first - (first % width + width) % width;
    Bars bars;
    for (int low = begin; low <= last; low += width) {
        std::size_t sum = 0;
        for (auto at = counts.lower_bound(low); at != counts.lower_bound(low + width); ++at)
            sum += at->second;
        bars.emplace_back(width == 1 ? std::to_string(low)
                                     : formatted("%d to %d", low, low + width - least),
                          sum);
    }
    return bars;
}

} // namespace

std::string pictureOf(const Statistics &statistics, const std::string &title) {
    const std::vector<std::pair<const char *, Bars>> panels{
        {"changing bonds", Statistics::mostFrequent(statistics.codes, mostBars)},
        {"elements", Statistics::mostFrequent(statistics.elements, mostBars)},
        {"atoms", classesOf(statistics.atoms, 1)},
        {"barrier from, kcal/mol", classesOf(statistics.barriers, 10)}};
    constexpr int panelHeight = (static_cast<int>(mostBars) + 2) * (barHeight + 2);
    constexpr int width = 2 * panelWidth + 2 * margin;
    constexpr int height = headHeight + 2 * panelHeight + margin;
    auto text = formatted("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
                          "font-family=\"sans-serif\" font-size=\"11\">\n",
                          width, height) +
                "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n" +
                formatted("<text x=\"%d\" y=\"24\" font-size=\"14\">%s: %zu records</text>\n",
                          margin, escaped(title).c_str(), statistics.records);
    for (int i = 0; const auto &[heading, bars] : panels) {
        text += panel(heading, bars, margin + i % 2 * panelWidth, headHeight + i / 2 * panelHeight);
        ++i;
    }
    return text + "</svg>\n";
}

} // namespace saddlefit::host
