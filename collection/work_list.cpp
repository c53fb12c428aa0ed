#include "collection/work_list.hpp"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace saddlefit::collection {

namespace {

WorkEntry moleculeEntry(const std::string &smiles, std::size_t round, double place) {
    return {smiles + " " + std::to_string(round), "enumeration", smiles, {}, round, place, 0};
}

std::size_t heavyAtoms(const std::string &smiles) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < smiles.size(); ++i) {
        const char c = smiles[i];
        const bool second =
            i > 0 && ((c == 'l' && smiles[i - 1] == 'C') || (c == 'r' && smiles[i - 1] == 'B') ||
                      (c == 'i' && smiles[i - 1] == 'S'));
        if (std::isalpha(static_cast<unsigned char>(c)) != 0 && c != 'H' && !second) ++count;
    }
    return count;
}

} // namespace

std::vector<WorkEntry> workList(const std::vector<Family> &families,
                                const std::vector<std::string> &molecules,
                                const WorkOptions &options) {
    std::vector<WorkEntry> list;
    for (const auto &family : families) {
        const auto count =
            std::min(family.members.size(), options.membersPerReaction * family.quota);
        for (std::size_t i = 0; i < count; ++i) {
            const auto &member = family.members[i];
            const double place = (static_cast<double>(i) + 0.5) / static_cast<double>(count);
            list.push_back({family.name + " " + member.name(), family.name, member.smiles,
                            member.steps, 0, place, family.quota});
        }
    }
    for (std::size_t round = 0; round < options.rounds; ++round) {
        for (std::size_t i = 0; i < molecules.size(); ++i) {
            const double part =
                (static_cast<double>(i) + 0.5) / static_cast<double>(molecules.size());
            const double place =
                (static_cast<double>(round) + part) / static_cast<double>(options.rounds);
            list.push_back(moleculeEntry(molecules[i], round, options.stretch * place));
        }
    }
    std::stable_sort(list.begin(), list.end(),
                     [](const WorkEntry &a, const WorkEntry &b) { return a.place < b.place; });
    return list;
}

std::vector<WorkEntry> entriesOf(const std::string &smiles, const WorkOptions &options) {
    const auto size = heavyAtoms(smiles);
    const bool ion =
        smiles.find("-]") != std::string::npos && smiles.find('+') == std::string::npos;
    if (size < 2 || size > options.largestSeed || ion) return {};
    std::vector<WorkEntry> entries;
    for (std::size_t round = 0; round < 2; ++round)
        entries.push_back(moleculeEntry(smiles, round, 1.0));
    return entries;
}

std::vector<std::string> moleculesIn(const std::string &smiles) {
    std::istringstream stream(smiles);
    std::vector<std::string> molecules;
    for (std::string one; std::getline(stream, one, '.');)
        molecules.push_back(one);
    return molecules;
}

} // namespace saddlefit::collection
