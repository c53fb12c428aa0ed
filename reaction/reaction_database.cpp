#include "reaction/reaction_database.hpp"

#include "saddlefit/reaction.h"

#include "molecule/copy.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

using namespace saddlefit;

std::span<const int> saddlefit::terminated(const int *code) {
    std::size_t count = 0;
    while (code && code[count++] != 0) {
    }
    return {code, count};
}

ReactionDatabase::ReactionDatabase(Candidates molecules) : molecules_(std::move(molecules)) {
    for (const OwnedMol &molecule : molecules_) {
        const OwnedBlock<int> code(molecule ? getTransitionCode(molecule.get()) : nullptr);
        const auto whole = terminated(code.get());
        codes_.emplace_back(whole.begin(), whole.end());
    }
}

ReactionDatabase::Stored ReactionDatabase::storedWith(std::span<const int> code) const {
    Stored stored;
    const MoleculeVisitor keep = [&](StoredMolecule found) {
        stored.records.push_back(static_cast<int>(found.position));
        stored.candidates.push_back(std::move(found.molecule));
        return true;
    };
    file_ ? file_->forEachWith(code, keep) : visitMolecules(code, keep);
    return stored;
}

void ReactionDatabase::visit(const int *code, const MoleculeVisitor &visit) const {
    if (!file_) return visitMolecules(terminated(code), visit);
    code ? file_->forEachWith(terminated(code), visit) : file_->forEach(visit);
}

/// Those with a code, or all if it is empty. A molecule that is not there is passed over.
void ReactionDatabase::visitMolecules(std::span<const int> code,
                                      const MoleculeVisitor &visit) const {
    for (std::size_t i = 0; i < molecules_.size(); ++i) {
        if (!molecules_[i]) continue;
        if (!code.empty() && !std::ranges::equal(code, codes_[i])) continue;
        StoredMolecule stored;
        stored.molecule = copyOf(*molecules_[i]);
        stored.position = static_cast<std::uint32_t>(i);
        if (!visit(std::move(stored))) return;
    }
}

ReactionDatabase *openReactionDatabase(const char *path) {
    if (!path) return nullptr;
    return guarded<ReactionDatabase *>(nullptr, [&]() -> ReactionDatabase * {
        auto file = OpenDatabase::open(path);
        return file ? new ReactionDatabase(std::move(file)) : nullptr;
    });
}

ReactionDatabase *openReactionBytes(const void *bytes, size_t size) {
    return guarded<ReactionDatabase *>(nullptr, [&] {
        const auto *first = static_cast<const unsigned char *>(bytes);
        return new ReactionDatabase(
            OpenDatabase::over(std::vector<unsigned char>(first, first + (bytes ? size : 0))));
    });
}

ReactionDatabase *openReactionMolecules(Molecule **molecules, int count) {
    Candidates taken;
    const auto given = countedSpan(molecules, count);
    if (!guarded(false, [&] { return taken.resize(given.size()), true; })) {
        std::ranges::for_each(given, freeMol);
        return nullptr;
    }
    for (std::size_t i = 0; i < given.size(); ++i)
        taken[i].reset(given[i]);
    return guarded<ReactionDatabase *>(nullptr,
                                       [&] { return new ReactionDatabase(std::move(taken)); });
}

void closeReactionDatabase(ReactionDatabase *database) {
    delete database;
}

int reactionDatabaseFailures(const ReactionDatabase *database) {
    return database ? database->failures() : 0;
}

int visitReactions(const ReactionDatabase *database, const int *code, StructureVisitor visit,
                   void *context) {
    int count = 0;
    if (!database || !visit) return count;
    guarded(0, [&] {
        database->visit(code, [&](StoredMolecule stored) {
            ++count;
            const int record = static_cast<int>(stored.position);
            return visit(stored.molecule.release(), record, context) == 0;
        });
        return 0;
    });
    return count;
}
