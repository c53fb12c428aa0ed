#include "host/upkeep/statistics.hpp"

#include "host/reactions/transitions.hpp"
#include "host/structures/elements.hpp"

#include <algorithm>
#include <cmath>
#include <set>

namespace saddlefit::host {

namespace {

constexpr double barrierStep = 10.0; // kcal/mol

void count(const CatalogueEntry &entry, Statistics &statistics) {
    const auto &[record, known] = entry;
    ++statistics.records;
    ++statistics.codes[codeInSymbols(record.code.data())];
    ++statistics.atoms[static_cast<int>(record.atoms.size())];
    std::set<int> elements;
    for (const auto &atom : record.atoms)
        elements.insert(atom.element);
    for (const int element : elements)
        ++statistics.elements[elementSymbol(element)];
    if (!known) return;
    ++statistics.known;
    if (known->quality == Quality::refused) ++statistics.refused;
    if (!known->level.empty()) ++statistics.levels[known->level];
    if (!known->family.empty()) ++statistics.families[known->family];
    if (!known->barrier || std::abs(*known->barrier) > 1e6) return;
    const double tens = std::floor(*known->barrier / barrierStep);
    ++statistics.barriers[static_cast<int>(tens * barrierStep)];
}

} // namespace

std::vector<std::pair<std::string, std::size_t>> Statistics::mostFrequent(const Counts &counts,
                                                                          std::size_t most) {
    std::vector<std::pair<std::string, std::size_t>> sorted(counts.begin(), counts.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto &a, const auto &b) { return a.second > b.second; });
    sorted.resize(std::min(most, sorted.size()));
    return sorted;
}

Statistics statisticsOf(const Catalogue &catalogue) {
    Statistics statistics;
    for (std::size_t position = 0; position < catalogue.count(); ++position) {
        const auto reading = catalogue.read(position);
        if (const auto *entry = std::get_if<CatalogueEntry>(&reading))
            count(*entry, statistics);
        else
            ++statistics.damaged;
    }
    return statistics;
}

} // namespace saddlefit::host
