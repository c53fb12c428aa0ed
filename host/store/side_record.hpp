/// What is known of a stored transition state beyond its record, whose format has no room for it.
#pragma once

#include "host/structures/structure.hpp"
#include "host/system/json.hpp"
#include "host/system/words.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

enum class Quality {
    guarded, ///< nothing was found against it
    refused  ///< implausible: asked only where nothing else matches
};

template <>
inline constexpr auto wordsFor<Quality> =
    std::to_array<Word<Quality>>({{Quality::guarded, "guarded"}, {Quality::refused, "refused"}});

/// A side of the reaction.
struct StoredSide {
    std::string smiles;
    std::optional<double> energy;     ///< hartree
    std::vector<Position> positions;  ///< angstrom, by atom of the record; empty if unknown
    std::vector<int> charges;         ///< formal ones; empty if there are none
    std::vector<StructureBond> bonds; ///< as they are drawn
};

struct SideRecord {
    std::string digest; ///< of the record's bytes: see digestOf()
    Quality quality = Quality::guarded;
    std::string name;                    ///< the record's
    std::vector<std::string> objections; ///< why it was refused, or what was found all the same
    std::string level;                   ///< of theory: "GFN2-xTB"
    std::string program;                 ///< that computed it, with its version
    std::string verified;                ///< how: "ends, one imaginary mode"
    std::string source;                  ///< where it comes from
    std::string licence;
    std::string date; ///< of the computation or of its storing: "2025-01-31"
    std::string family;
    std::optional<int> charge;
    std::optional<int> unpaired;          ///< electrons
    std::optional<double> energy;         ///< hartree
    std::optional<double> barrier;        ///< from the reactant's side, kcal/mol
    std::optional<double> reverseBarrier; ///< from the product's, kcal/mol
    std::optional<double> wavenumber;     ///< of the imaginary mode, cm-1, negative
    std::vector<int> elements;            ///< by atom of the record; empty without sides
    StoredSide reactant;
    StoredSide product;
    Json others = Json::object(); ///< members of a line that are none of these, as they stood
};

/// As a line without its newline: a JSON object that begins with the digest and the quality. What
/// is empty is left out.
std::string sideLine(const SideRecord &record);

/// Throws Error with what is wrong with the line, a phrase.
SideRecord sideRecordIn(std::string_view line);

/// As in SideRecord.
struct SideLineHead {
    std::string digest;
    Quality quality = Quality::guarded;
    std::string name;
};

/// Quick for lines that were written here. Throws Error as sideRecordIn(), as far as it reads.
SideLineHead sideLineHead(std::string_view line);

} // namespace saddlefit::host
