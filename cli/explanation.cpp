#include "cli/explanation.hpp"

#include "cli/host.hpp"
#include "cli/saddle_text.hpp"
#include "host/search/direction.hpp"
#include "host/structures/labels.hpp"
#include "host/system/text.hpp"

namespace saddlefit::cli {

namespace {

std::string funnel(const StageReport &report) {
    std::string text = std::string("  stage ") + wordOf(report.stage) +
                       (report.quality == Quality::refused ? ", refused records" : "") + ", code " +
                       report.code;
    const auto &[candidates, lookedInto, mapped] = report.funnel;
    if (candidates == 0) return text + ": nothing stored has it\n";
    return text + formatted(": %zu stored, %zu of other composition, %zu not mapped or outweighed, "
                            "%zu compared\n",
                            candidates, candidates - lookedInto, lookedInto - mapped, mapped);
}

std::string changeText(const Reaction &reaction, const Match &match, std::size_t i) {
    const auto &change = reaction.changes[i];
    std::string text =
        bondLabel(reaction.reactant.atoms, change.atoms) + " " + wordOf(roleOf(change));
    if (match.roles[i] == Role::none) return text + " (not in the match)";
    return text + formatted(" %.2f (", match.lengths[i]) + wordOf(match.roles[i]) + " there)";
}

std::string matchText(const Reaction &reaction, const Match &match, bool chosen) {
    const auto &figures = match.figures;
    std::string text = std::string(chosen ? "  * " : "    ") + match.name;
    if (match.exact) return text + ", exact\n";
    text += ", " + figures.classAfter +
            formatted(" set, %d atoms mapped, weight %d, misfit %.3f%s, %s direction\n",
                      figures.depth, figures.weightAfter, match.misfit,
                      match.mirrored ? ", mirror image" : "", wordOf(directionOf(reaction, match)));
    for (std::size_t i = 0; i < match.roles.size(); ++i)
        text += "      " + changeText(reaction, match, i) + "\n";
    return text;
}

std::string placementText(const Answer &answer) {
    if (answer.stage == Stage::lengths) return "  stage lengths: usual lengths of the database\n";
    if (answer.usualLengths) {
        return "  placed by the database's usual lengths, as the match runs another way or "
               "has another centre\n";
    }
    return answer.matched() ? "  placed by the match\n" : "";
}

} // namespace

std::string explanation(const Reaction &reaction, const Answer &answer) {
    std::string text = reaction.title + "\n";
    for (const auto &report : answer.reports) {
        text += funnel(report);
        for (const auto &match : report.matches)
            text += matchText(reaction, match, &match == answer.matched());
    }
    text += placementText(answer);
    if (answer.saddle) text += saddleExplanation(reaction.reactant.atoms, *answer.saddle);
    return text;
}

} // namespace saddlefit::cli
