/// The answer of searchReactions().
#pragma once

#include "saddlefit/search.h"

#include <memory>

namespace saddlefit {

struct FreeSearchResult {
    void operator()(SearchResult *result) const noexcept { freeSearchResult(result); }
};
using OwnedSearchResult = std::unique_ptr<SearchResult, FreeSearchResult>;

/// Throws std::bad_alloc.
OwnedSearchResult reportedSearch(const ReactionDatabase &database, const Molecule &asked,
                                 const SearchOptions &options);

} // namespace saddlefit
