/// Where searches in memory find their candidates.
#pragma once

#include "saddlefit/search.h"

#include "database/open_database.hpp"
#include "reaction/search.hpp"

#include <memory>
#include <span>
#include <vector>

/// Either a file's bytes or molecules; only read once it is made, so that threads may share it.
struct ReactionDatabase {
    /// Candidates as a search may move them, with the ordinals of their records.
    struct Stored {
        saddlefit::Candidates candidates;
        std::vector<int> records;
    };

    explicit ReactionDatabase(std::unique_ptr<saddlefit::OpenDatabase> file)
        : file_(std::move(file)) {}
    explicit ReactionDatabase(saddlefit::Candidates molecules);

    /// The structures with this code, which ends with its 0, in file order.
    Stored storedWith(std::span<const int> code) const;

    /// Visit the structures with a code, or all if there is none.
    void visit(const int *code, const saddlefit::MoleculeVisitor &visit) const;

    /// As OpenDatabase::failures().
    int failures() const { return file_ ? file_->failures() : 0; }

private:
    void visitMolecules(std::span<const int> code, const saddlefit::MoleculeVisitor &visit) const;

    std::unique_ptr<saddlefit::OpenDatabase> file_; ///< null if it is made of molecules
    saddlefit::Candidates molecules_;
    std::vector<std::vector<int>> codes_; ///< of each molecule; empty without one
};

namespace saddlefit {

/// A code up to and including its 0; empty for null.
std::span<const int> terminated(const int *code);

} // namespace saddlefit
