#include "cli/answer_output.hpp"

#include "host/answers/foreign.hpp"
#include "host/structures/reader.hpp"
#include "host/system/input_file.hpp"
#include "host/system/output_file.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace saddlefit::cli {

namespace {

constexpr std::array<std::string_view, 4> sdfExtensions{"sdf", "sd", "mol", "mdl"};

std::vector<Piece> noPieces(std::string_view) {
    return {};
}

// Of formats in which no number of a reaction can be found again.
constexpr AnswerFormat foreignFormat{nullptr, nullptr, noPieces, xyzTitle};

bool isStream(const std::string &path) {
    return path == standardOutput || !isReplaceable(path);
}

bool namesSdf(const std::string &path) {
    const auto extension = extensionOf(path);
    return std::find(sdfExtensions.begin(), sdfExtensions.end(), extension) != sdfExtensions.end();
}

void requireNotPacked(const std::string &path) {
    if (!path.ends_with(".gz")) return;
    throw Error("no packed files are written; write to \"-\" and pack that with gzip").at({path});
}

} // namespace

std::string AnswerOutput::text(const Reaction &reaction, const Answer &answer) const {
    return foreign.empty() ? format->write(reaction, answer)
                           : foreignRecord(foreign, reaction, answer);
}

AnswerOutput structureOutput(const std::string &path, std::size_t reactions) {
    requireNotPacked(path);
    if (isStream(path) || namesSdf(path)) return {path, &sdfFormat};
    const auto extension = extensionOf(path);
    if (extension == "xyz") return {path, &xyzFormat};
    if (extension == "json" || extension == "jsonl") {
        throw Error("-o writes structures; take --json for this file").at({path});
    }
    try {
        requireForeignFormat(extension);
        if (reactions < 2 || holdsSeveralRecords(extension)) {
            return {path, &foreignFormat, extension};
        }
        throw Error("a file of this format holds one structure; take .sdf or .xyz for several");
    } catch (const Error &error) {
        throw error.at({path});
    }
}

void requireSdf(const std::string &path) {
    requireNotPacked(path);
    if (path.empty() || isStream(path) || namesSdf(path)) return;
    throw Error("an SD file is written here; give it the extension .sdf").at({path});
}

} // namespace saddlefit::cli
