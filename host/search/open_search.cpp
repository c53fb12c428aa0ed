#include "host/search/open_search.hpp"

#include "host/system/error.hpp"
#include "host/system/interrupt.hpp"

#include <exception>
#include <new>

namespace saddlefit::host {

namespace {

/// A visitor whose exception waits until the library has come back: nothing is thrown through it.
struct Visit {
    const StoredVisitor &visitor;
    std::exception_ptr failure = nullptr;

    static int take(Molecule *structure, int record, void *context) noexcept {
        auto &self = *static_cast<Visit *>(context);
        try {
            throwIfInterrupted();
            self.visitor(HostMolecule(structure), record);
            return 0;
        } catch (...) {
            self.failure = std::current_exception();
            return 1;
        }
    }
};

/// Throws Error at the end of what has not seen the whole file.
class WholeReading {
public:
    explicit WholeReading(const ReactionDatabase &database)
        : database_(database), before_(reactionDatabaseFailures(&database)) {}

    void require() const {
        if (reactionDatabaseFailures(&database_) == before_) return;
        throw Error(ErrorKind::system, "the database cannot be read to its end; check the disk, or "
                                       "go back to a copy");
    }

private:
    const ReactionDatabase &database_;
    int before_;
};

OpenReactions shared(ReactionDatabase *database) {
    return {database, [](ReactionDatabase *open) { closeReactionDatabase(open); }};
}

template <class Owned> Owned orNoMemory(Owned owned) {
    if (!owned) throw std::bad_alloc();
    return owned;
}

} // namespace

OpenReactions openReactions(const std::string &path) {
    auto database = shared(openReactionDatabase(path.c_str()));
    if (!database)
        throw Error(ErrorKind::system, "the database cannot be opened any more; try again")
            .at({path});
    return database;
}

OpenReactions openReactions(std::vector<HostMolecule> molecules) {
    std::vector<Molecule *> handedOver;
    handedOver.reserve(molecules.size());
    for (auto &molecule : molecules)
        handedOver.push_back(molecule.release());
    return orNoMemory(
        shared(openReactionMolecules(handedOver.data(), static_cast<int>(handedOver.size()))));
}

OwnedSearcher newSearcher() {
    auto searcher = orNoMemory(OwnedSearcher(createSearcher()));
    const auto ask = [](void *) -> int { return isInterrupted() ? 1 : 0; };
    setSearcherInterrupt(searcher.get(), ask, nullptr);
    return searcher;
}

OwnedResult searchIn(const ReactionDatabase &database, Searcher &searcher, const Molecule &mol,
                     SearchOptions options) {
    options.soundOnly = 1;
    const WholeReading reading(database);
    auto result = orNoMemory(OwnedResult(searchReactions(&searcher, &database, &mol, &options)));
    reading.require();
    if (result->interrupted != 0) throw Interrupted();
    return result;
}

void forEachStored(const ReactionDatabase &database, const int *code, const StoredVisitor &visit) {
    const WholeReading reading(database);
    Visit walk{visit};
    visitReactions(&database, code, &Visit::take, &walk);
    if (walk.failure) std::rethrow_exception(walk.failure);
    reading.require();
}

} // namespace saddlefit::host
