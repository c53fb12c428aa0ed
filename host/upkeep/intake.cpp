#include "host/upkeep/intake.hpp"

#include "saddlefit/reaction.h"

#include "host/search/search.hpp"
#include "host/store/identity.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <set>

namespace saddlefit::host {

namespace {

struct NewRecord {
    std::string bytes;
    StoredRecord stored; // as it reads back
};

// The transition state is stored with its transition-state bonds, as a search will ask for it.
NewRecord recordOf(const Reaction &reaction) {
    const auto mol = startMolecule(reaction);
    C_startReaction(mol.get(), nullptr);
    if (auto bytes = recordBytes(*mol, reaction.geometryTitle)) {
        const auto reading = readRecord(*bytes);
        if (const auto *stored = std::get_if<StoredRecord>(&reading)) return {*bytes, *stored};
    }
    throw Error(ErrorKind::limit, "the record cannot be stored; it may have more than 65535 atoms "
                                  "or bonds, or too long a title")
        .at(reaction.reactant.origin);
}

// In angstrom.
double lengthOfChanges(const Reaction &reaction) {
    double sum = 0.0;
    for (const auto &[atoms, before, after] : reaction.changes) {
        if (before != 0 && after != 0) continue;
        sum += distanceBetween(reaction.coordinates[static_cast<std::size_t>(atoms.first)],
                               reaction.coordinates[static_cast<std::size_t>(atoms.second)]);
    }
    return sum;
}

} // namespace

IntakeResult Intake::take(const Reaction &reaction, SideRecord known) {
    const auto record = recordOf(reaction);
    IntakeResult result;
    result.code = record.stored.code;
    result.objections = implausibilities(reaction);
    if (!result.objections.empty() && !forced_) result.became = Intaken::lastResort;
    known.quality = result.became == Intaken::lastResort ? Quality::refused : Quality::guarded;
    if (const auto same = index_.find(record.stored, reaction)) {
        result.objections.push_back({ObjectionKind::storedAlready,
                                     "the same transition state is stored as " + inOneLine(*same)});
        if (!forced_) result.became = Intaken::refused;
    } else {
        for (const auto &objection : result.objections)
            known.objections.push_back(objection.text);
    }
    const auto identity = identityOf(record.bytes);
    known.digest = identity.digest;
    known.name = identity.name;
    if (result.became == Intaken::refused) {
        ofStored_.push_back(std::move(known));
        return result;
    }
    writer_.place(record.bytes);
    index_.add(record.stored, record.bytes);
    writer_.note(known);
    return result;
}

void Intake::commit() {
    std::erase_if(ofStored_, [&](const auto &known) { return writer_.hasNote(known.digest); });
    if (!ofStored_.empty()) {
        std::set<std::string> stored;
        for (const auto &record : identitiesIn(database_, surveyOf(*openStoreAt(database_))))
            stored.insert(record.digest);
        for (const auto &known : ofStored_)
            if (stored.contains(known.digest)) writer_.note(known);
    }
    writer_.commit();
}

Reaction tightest(const std::vector<Reaction> &pairings) {
    return *std::min_element(pairings.begin(), pairings.end(),
                             [](const Reaction &a, const Reaction &b) {
                                 return lengthOfChanges(a) < lengthOfChanges(b);
                             });
}

} // namespace saddlefit::host
