/// Geometries whose saddle points are asked for, with what is known of their reactions.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/saddle/reaction_saddle.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

struct SaddleQuestionFiles {
    std::string geometries;
    std::string reactants; ///< these two are empty, or both are given: record by record
    std::string products;
    std::optional<int> charge; ///< default: the data field CHARGE, then the formal charges
    std::optional<int> unpaired;
};

struct SaddleQuestion {
    std::size_t number = 0; ///< of the record, from 1
    std::string title;
    Place origin;
    std::vector<StructureAtom> atoms;          ///< as the geometry has them
    std::vector<StructureBond> bonds;          ///< that both sides have
    std::map<std::string, std::string> fields; ///< of the record, where its format has some
    std::vector<Warning> warnings;
    SaddleTask task;
};

/// The sides of a reaction are those of the files, else what an SD record of "react" says of them
/// (bonds, no coordinates), else unknown.
class SaddleQuestions {
public:
    /// Throws Error when the files cannot be read or do not fit together.
    explicit SaddleQuestions(const SaddleQuestionFiles &files);

    std::size_t count() const { return geometries_.count(); }
    std::string title(std::size_t index) const;
    Place origin(std::size_t index) const;

    /// Throws Error for a record that is none, and for charges that cannot be.
    SaddleQuestion read(std::size_t index) const;

private:
    SaddleQuestionFiles files_;
    RecordFile geometries_;
    std::unique_ptr<ReactionReader> reactions_;
};

/// The answer as an SD record, with the fields of the question's record and those of
/// saddle_fields.hpp; as an XYZ record, with saddleWords() in its title line; and as a line of
/// JSON: record, title, charge, unpaired, the question's atoms, saddle.
std::string sdfRecord(const SaddleQuestion &question, const ReactionSaddle &saddle);
std::string xyzRecord(const SaddleQuestion &question, const ReactionSaddle &saddle);
std::string jsonLine(const SaddleQuestion &question, const ReactionSaddle &saddle);

} // namespace saddlefit::host
