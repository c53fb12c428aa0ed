#include "cli/sdf.hpp"

#include "cli/elements.hpp"

#include <algorithm>
#include <cstdio>
#include <tuple>

namespace saddlefit::cli {

namespace {

// Counts have three columns, coordinates ten with four decimals.
constexpr std::size_t highestCount = 999;
constexpr double lowestCoordinate = -9999.9999;
constexpr double highestCoordinate = 99999.9999;
constexpr std::size_t chargesPerLine = 8;

int mdlType(int type) {
    return type == aromaticType ? mdlAromaticType : type;
}

template <class... Values> std::string line(const char *format, Values... values) {
    char buffer[128];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(buffer, sizeof buffer, format, values...);
#pragma GCC diagnostic pop
    return buffer;
}

void requireFit(const Reaction &reaction, const ReactionResult &result) {
    const auto &origin = reaction.reactant.origin;
    if (result.coordinates.size() > highestCount || result.bonds.size() > highestCount) {
        throw UserError(origin + ": more than 999 atoms or bonds do not fit a V2000 record; cut "
                                 "the structure down to the surroundings of the reaction");
    }
    for (const auto &at : result.coordinates) {
        for (const double value : {at.x, at.y, at.z}) {
            if (value > lowestCoordinate && value < highestCoordinate) continue;
            throw UserError(origin + ": the finished structure has a coordinate that does not fit "
                                     "an SD file; check the coordinates of the input");
        }
    }
}

std::string atomBlock(const Reaction &reaction, const ReactionResult &result) {
    std::string text;
    for (std::size_t i = 0; i < result.coordinates.size(); ++i) {
        const auto &at = result.coordinates[i];
        const auto symbol = elementSymbol(reaction.reactant.atoms[i].element);
        text += line("%10.4f%10.4f%10.4f %-3s 0  0  0  0  0  0  0  0  0  0  0  0\n", at.x, at.y,
                     at.z, symbol.c_str());
    }
    return text;
}

std::string bondBlock(const std::vector<StructureBond> &bonds) {
    std::string text;
    for (const auto &bond : bonds) {
        if (bond.type == 0) continue;
        text += line("%3d%3d%3d  0\n", bond.atom1 + 1, bond.atom2 + 1, mdlType(bond.type));
    }
    return text;
}

std::string chargeLines(const std::vector<StructureAtom> &atoms) {
    std::vector<std::string> entries;
    for (int number = 1; const auto &atom : atoms) {
        if (atom.charge != 0) entries.push_back(line("%4d%4d", number, atom.charge));
        ++number;
    }
    std::string text;
    for (std::size_t i = 0; i < entries.size(); i += chargesPerLine) {
        const auto count = std::min(chargesPerLine, entries.size() - i);
        text += line("M  CHG%3zu", count);
        for (std::size_t k = 0; k < count; ++k)
            text += entries[i + k];
        text += "\n";
    }
    return text;
}

std::string molfile(const Reaction &reaction, const ReactionResult &result) {
    const auto drawn = std::count_if(result.bonds.begin(), result.bonds.end(),
                                     [](const StructureBond &bond) { return bond.type != 0; });
    return reaction.title + "\n  saddlefit         3D\n\n" +
           line("%3zu%3td  0  0  0  0  0  0  0  0999 V2000\n", result.coordinates.size(), drawn) +
           atomBlock(reaction, result) + bondBlock(result.bonds) +
           chargeLines(reaction.reactant.atoms) + "M  END\n";
}

// ---- data fields --------------------------------------------------------------------------------

std::string field(const char *name, const std::string &value) {
    if (value.empty()) return {};
    const bool closed = value.ends_with('\n');
    return std::string("> <") + name + ">\n" + value + (closed ? "\n" : "\n\n");
}

const char *outcomeWord(Outcome outcome) {
    switch (outcome) {
    case Outcome::exact:
        return "exact";
    case Outcome::partial:
        return "partial";
    case Outcome::noMatch:
        break;
    }
    return "none";
}

std::string transitionLines(const std::vector<Transition> &transitions) {
    std::string text;
    for (const auto &step : transitions) {
        text +=
            line("%d %d %d %d\n", step.breakA + 1, step.breakB + 1, step.formA + 1, step.formB + 1);
    }
    return text;
}

std::string changeLines(const std::vector<BondChange> &changes) {
    std::string text;
    for (const auto &change : changes) {
        text += line("%d %d %d %d\n", change.atoms.first + 1, change.atoms.second + 1,
                     mdlType(change.before), mdlType(change.after));
    }
    return text;
}

std::string partialBondLines(const std::vector<StructureBond> &bonds) {
    std::string text;
    for (const auto &bond : bonds) {
        if (bond.type == 0) text += line("%d %d\n", bond.atom1 + 1, bond.atom2 + 1);
    }
    return text;
}

std::string constraintLine(const Constraint &constraint) {
    const auto &[a, b, c, d] = std::tie(constraint.a, constraint.b, constraint.c, constraint.d);
    const double value = constraint.value;
    if (c < 0) return line("distance %d %d %.6f angstrom\n", a + 1, b + 1, value);
    if (d < 0) return line("angle %d %d %d %.4f degrees\n", a + 1, b + 1, c + 1, value);
    return line("dihedral %d %d %d %d %.4f degrees\n", a + 1, b + 1, c + 1, d + 1, value);
}

std::string constraintLines(const std::vector<Constraint> &constraints) {
    std::string text;
    for (const auto &constraint : constraints)
        text += constraintLine(constraint);
    return text;
}

std::string atomNumbers(const std::vector<int> &atoms) {
    std::string text;
    for (const int atom : atoms) {
        if (!text.empty()) text += ' ';
        text += std::to_string(atom + 1);
    }
    return text;
}

} // namespace

std::string sdfRecord(const Reaction &reaction, const ReactionResult &result) {
    requireFit(reaction, result);
    const bool replaced = result.outcome == Outcome::partial;
    return molfile(reaction, result) + field(outcomeField, outcomeWord(result.outcome)) +
           field(matchField, result.match) + field("TRANSITION_CODE", result.code) +
           field("TRANSITIONS", transitionLines(reaction.transitions)) +
           field(changedBondsField, changeLines(reaction.changes)) +
           field("PARTIAL_BONDS", partialBondLines(result.bonds)) +
           field(constraintsField, constraintLines(result.constraints)) +
           field("START_CONSTRAINTS",
                 replaced ? constraintLines(result.startConstraints) : std::string{}) +
           field("FROZEN_ATOMS", atomNumbers(result.frozen)) + "$$$$\n";
}

} // namespace saddlefit::cli
