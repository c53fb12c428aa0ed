/// The library's search in memory, in hands that let go of it.
#pragma once

#include "saddlefit/search.h"

#include "host/structures/host_molecule.hpp"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace saddlefit::host {

struct ReleaseSearch {
    void operator()(Searcher *searcher) const { freeSearcher(searcher); }
    void operator()(SearchResult *result) const { freeSearchResult(result); }
};
using OwnedSearcher = std::unique_ptr<Searcher, ReleaseSearch>;
using OwnedResult = std::unique_ptr<SearchResult, ReleaseSearch>;

/// Open for as long as anybody asks it; threads may share one.
using OpenReactions = std::shared_ptr<const ReactionDatabase>;

/// Throws Error if the file cannot be opened.
OpenReactions openReactions(const std::string &path);

/// A database of molecules in their transition-state picture.
OpenReactions openReactions(std::vector<HostMolecule> molecules);

OwnedSearcher newSearcher();

/// Search among sound records; see searchReactions(). Throws Interrupted, and Error if the file
/// cannot be read to its end.
OwnedResult searchIn(const ReactionDatabase &database, Searcher &searcher, const Molecule &mol,
                     SearchOptions options);

/// Takes a stored structure with the ordinal of its record; may throw, which ends the walk.
using StoredVisitor = std::function<void(HostMolecule structure, int record)>;

/// Walk over the structures with a code, or over all for null. Throws Error likewise.
void forEachStored(const ReactionDatabase &database, const int *code, const StoredVisitor &visit);

} // namespace saddlefit::host
