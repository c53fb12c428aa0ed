#include "cli/saddle_text.hpp"

#include "host/answers/answer_saddle.hpp"
#include "host/structures/labels.hpp"
#include "host/structures/units.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <cmath>

namespace saddlefit::cli {

namespace {

/// "1425.5i cm-1", as spectroscopists write an imaginary mode.
std::string modeText(const std::optional<double> &wavenumber) {
    if (!wavenumber) return "-";
    return formatted(*wavenumber < 0 ? "%.1fi cm-1" : "%.1f cm-1", std::abs(*wavenumber));
}

std::string bondList(const std::vector<StructureAtom> &atoms, const std::vector<AtomPair> &bonds,
                     const char *what) {
    std::string text;
    for (const auto &bond : bonds)
        text += ", " + bondLabel(atoms, bond) + " " + what;
    return text;
}

std::string endText(const std::vector<StructureAtom> &atoms, const SaddleTry &attempt,
                    const SaddleEnd &end) {
    return "      " + end.side +
           formatted(", %.1f kcal/mol below", (*attempt.energy - end.energy) * kcalPerHartree) +
           bondList(atoms, end.made, "made") + bondList(atoms, end.broken, "broken") +
           (end.smiles.empty() ? "" : ": " + end.smiles) + "\n";
}

std::string attemptText(const std::vector<StructureAtom> &atoms, const SaddleTry &attempt,
                        bool onRoute) {
    std::string text = (onRoute ? "  * from " : "    from ") + attempt.start + ": " +
                       attempt.outcome + formatted(", %d gradients", attempt.gradients);
    if (attempt.energy)
        text += formatted(", %.6f hartree, ", *attempt.energy) + modeText(attempt.wavenumber) +
                formatted(", %d imaginary, %.0f %% of the lowest mode in changing bonds",
                          attempt.imaginaryModes, 100 * attempt.modeShare);
    if (!attempt.reason.empty()) text += ": " + attempt.reason;
    text += "\n";
    for (const auto &end : attempt.ends)
        text += endText(atoms, attempt, end);
    const auto reaction = reactionOver(attempt);
    return reaction.empty() ? text : text + "      is the saddle point of " + reaction + "\n";
}

} // namespace

std::string saddleColumns(const ReactionSaddle &saddle) {
    const auto *found = saddle.found();
    const auto gradients = "\t" + std::to_string(saddle.gradients) + " gradients";
    if (!found) return saddle.outcome + "\t-\t-\t-" + gradients;
    return saddle.outcome + formatted("\t%.6f hartree\t", *found->energy) +
           (saddle.barrier ? formatted("barrier %.1f kcal/mol", *saddle.barrier) : "-") + "\t" +
           modeText(found->wavenumber) + gradients;
}

std::string saddleExplanation(const std::vector<StructureAtom> &atoms,
                              const ReactionSaddle &saddle) {
    std::string text = "  saddle point by " + saddle.level + ": " + saddle.outcome;
    if (!saddle.reason.empty()) text += ", " + saddle.reason;
    if (saddle.flat) text += ", flat";
    text += "\n";
    for (std::size_t i = 0; i < saddle.attempts.size(); ++i) {
        const auto &route = saddle.route;
        const bool onRoute = std::find(route.begin(), route.end(), i) != route.end();
        text += attemptText(atoms, saddle.attempts[i], onRoute);
    }
    if (saddle.depth)
        text += formatted("  the intermediate lies %.1f kcal/mol below the lower saddle\n",
                          *saddle.depth);
    return text;
}

} // namespace saddlefit::cli
