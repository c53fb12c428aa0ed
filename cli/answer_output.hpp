/// Where the answers of "react" go, and in which format.
#pragma once

#include "cli/host.hpp"
#include "host/answers/formats.hpp"

#include <string>

namespace saddlefit::cli {

struct AnswerOutput {
    std::string path; ///< "-" for the standard output
    const AnswerFormat *format = nullptr;
    std::string foreign{}; ///< extension of a format that Open Babel writes; empty for our own

    /// The piece of a reaction.
    std::string text(const Reaction &reaction, const Answer &answer) const;
};

/// By the extension; SDF for the standard output and other things that are no regular files. Throws
/// Error for an extension whose format cannot be written, or not `reactions` times in one file.
AnswerOutput structureOutput(const std::string &path, std::size_t reactions);

/// Throws Error unless the extension is that of an SD file.
void requireSdf(const std::string &path);

} // namespace saddlefit::cli
