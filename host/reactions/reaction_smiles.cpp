#include "host/reactions/reaction_smiles.hpp"

#include "host/structures/reader.hpp"
#include "host/system/error.hpp"
#include "host/system/input_file.hpp"

#include <algorithm>
#include <sstream>

namespace saddlefit::host {

namespace {

constexpr std::string_view blanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

std::string_view firstWord(std::string_view text) {
    return text.substr(0, text.find_first_of(blanks));
}

// Of "|...| title", as other programs write it, what stands behind the bars.
std::string_view withoutExtension(std::string_view text) {
    if (!text.starts_with('|')) return text;
    const auto end = text.find('|', 1);
    return end == std::string_view::npos ? text : trimmed(text.substr(end + 1));
}

} // namespace

bool isReactionSmiles(std::string_view text) {
    const auto word = firstWord(trimmed(text));
    return std::count(word.begin(), word.end(), '>') == 2;
}

bool isSmilesFile(const std::string &path, const std::string &format) {
    const auto own = extensionOf(path);
    const auto &extension = own.empty() ? format : own;
    return extension == "smi" || extension == "rsmi" || extension == "smiles";
}

ReactionSmiles reactionSmilesIn(std::string_view line) {
    const auto text = trimmed(line);
    const auto word = firstWord(text);
    const auto first = word.find('>'), second = word.find('>', first + 1);
    ReactionSmiles reaction;
    reaction.reactants = word.substr(0, first);
    reaction.products = word.substr(second + 1);
    reaction.hasAgents = second > first + 1;
    reaction.title = withoutExtension(trimmed(text.substr(word.size())));
    return reaction;
}

std::vector<TitledSmiles> smilesLines(const std::string &path) {
    const InputFile file(path);
    std::istringstream lines(file.rest());
    std::vector<TitledSmiles> result;
    for (std::string line; std::getline(lines, line);) {
        const auto text = trimmed(line);
        if (text.empty() || text.starts_with('#')) continue;
        const auto word = firstWord(text);
        const auto title = withoutExtension(trimmed(text.substr(word.size())));
        result.push_back({std::string(word), std::string(title)});
    }
    if (result.empty()) throw Error("no SMILES was found in it").at({path});
    return result;
}

std::vector<ReactionSmiles> reactionSmilesOf(const std::string &path) {
    std::vector<ReactionSmiles> reactions;
    for (const auto &[smiles, title] : smilesLines(path)) {
        if (!isReactionSmiles(smiles)) {
            throw Error("this is no reaction SMILES; write reactants>>products, or name a second "
                        "file with the products")
                .at({path, reactions.size() + 1, title});
        }
        reactions.push_back(reactionSmilesIn(smiles));
        reactions.back().title = title;
    }
    return reactions;
}

} // namespace saddlefit::host
