/// Reactions written as "reactants>agents>products".
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

struct ReactionSmiles {
    std::string reactants, products;
    std::string title; ///< what stands behind the SMILES; may be empty
    bool hasAgents = false;
};

/// Whether a text can be a reaction SMILES: it has two arrows and no blank before them.
bool isReactionSmiles(std::string_view text);

/// By its extension, or by `format` where it has none.
bool isSmilesFile(const std::string &path, const std::string &format);

/// The parts of a line, for which isReactionSmiles() holds.
ReactionSmiles reactionSmilesIn(std::string_view line);

struct TitledSmiles {
    std::string smiles, title;
};

/// The lines of a file of molecules; those that are empty or begin with '#' are passed over.
std::vector<TitledSmiles> smilesLines(const std::string &path);

/// One per line; lines that are empty or begin with '#' are passed over. Throws Error for another
/// line, and for a file without any reaction.
std::vector<ReactionSmiles> reactionSmilesOf(const std::string &path);

} // namespace saddlefit::host
