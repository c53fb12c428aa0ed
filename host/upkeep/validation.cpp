#include "host/upkeep/validation.hpp"

#include "saddlefit/reaction.h"

#include "host/search/search.hpp"
#include "host/store/catalogue.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/shape.hpp"
#include "host/upkeep/stored_question.hpp"

namespace saddlefit::host {

namespace {

double lengthIn(const Molecule &mol, int a, int b) {
    return calcDist(mol.atoms + a, mol.atoms + b);
}

/// Nothing if the answer has no such bond.
std::optional<double> predictedLength(const SearchMatch &match, const AtomPair &atoms) {
    const int a = match.map[atoms.first], b = match.map[atoms.second];
    if (a < 0 || b < 0) return std::nullopt;
    return lengthIn(*match.structure, a, b);
}

Shape shapeOf(const StoredRecord &record) {
    return Shape(record.atoms, record.transitions);
}

std::string quoted(const Database &database, std::size_t position) {
    return inOneLine(recordAt(database, position).name) + " (record " + std::to_string(position) +
           ")";
}

} // namespace

Validation::Validation(const Database &database, LeaveOut leaveOut)
    : database_(database), open_(openReactions(database.path)) {
    if (leaveOut == LeaveOut::family) noteFamilies();
    for (std::size_t position = 0; position < database.records.size(); ++position) {
        const auto reading = database.read(position);
        if (const auto *damage = std::get_if<Damage>(&reading)) {
            damaged_[position] = "damaged at offset " + std::to_string(damage->offset) + ": " +
                                 damage->what + "; \"saddlefit db salvage\" leaves it out";
            leftOut_.push_back(static_cast<int>(position));
        } else {
            byCode_[std::get<StoredRecord>(reading).code].push_back(position);
        }
    }
}

void Validation::noteFamilies() {
    const Catalogue catalogue(database_.path);
    for (std::size_t position = 0; position < catalogue.count(); ++position) {
        const auto reading = catalogue.read(position);
        const auto *entry = std::get_if<CatalogueEntry>(&reading);
        if (entry == nullptr || !entry->known || entry->known->family.empty()) continue;
        families_[position] = entry->known->family;
        members_[entry->known->family].push_back(static_cast<int>(position));
    }
}

std::vector<int> Validation::leftOutWith(std::size_t position) const {
    auto leftOut = leftOut_;
    const auto family = families_.find(position);
    if (family == families_.end()) {
        leftOut.push_back(static_cast<int>(position));
        return leftOut;
    }
    const auto &members = members_.at(family->second);
    leftOut.insert(leftOut.end(), members.begin(), members.end());
    return leftOut;
}

std::vector<std::size_t> Validation::positions() const {
    std::vector<std::size_t> all;
    for (const auto &[code, positions] : byCode_)
        all.insert(all.end(), positions.begin(), positions.end());
    return all;
}

RecordCheck Validation::check(std::size_t position) const {
    RecordCheck check;
    check.position = position;
    const auto record = recordAt(database_, position);
    const auto reaction = reactionOf(record, database_.path);
    if (!reaction) {
        check.problem = "its bonds are not such as its transitions leave; remove it and add its "
                        "reaction anew";
        return check;
    }
    checkItself(*reaction, check);
    predict(*reaction, check);
    return check;
}

OwnedResult Validation::answerTo(const Reaction &reaction, const std::vector<int> &leftOut) const {
    SearchOptions options{};
    options.leftOut = leftOut.data();
    options.leftOutCount = static_cast<int>(leftOut.size());
    return searchIn(*open_, *newSearcher(), *startMolecule(reaction), options);
}

std::size_t Validation::positionOf(const SearchResult &result) const {
    const int candidate = result.matches[0].candidate;
    return static_cast<std::size_t>(result.candidates[candidate].record);
}

void Validation::checkItself(const Reaction &reaction, RecordCheck &check) const {
    const auto found = answerTo(reaction, leftOut_);
    if (found->matchCount == 0) {
        check.problem = "a search for it finds nothing; remove it and add its reaction anew";
        return;
    }
    const auto position = positionOf(*found);
    if (!found->matches[0].exact) {
        check.problem = "a search for it is answered in part only, by " +
                        quoted(database_, position) + "; remove it and add its reaction anew";
    } else if (position != check.position &&
               !shapeOf(recordAt(database_, position))
                    .isLike(shapeOf(recordAt(database_, check.position)))) {
        check.problem = "a search for it is answered by " + quoted(database_, position) +
                        ", which has the same bonds, another shape and comes first; remove one of "
                        "the two";
    }
}

void Validation::predict(const Reaction &reaction, RecordCheck &check) const {
    check.asked = true;
    const auto found = answerTo(reaction, leftOutWith(check.position));
    if (found->matchCount == 0) return;
    check.from = positionOf(*found);
    const auto mol = hostMolecule(reaction.reactant.atoms);
    for (const auto &change : reaction.changes) {
        if (change.before != 0 && change.after != 0) continue;
        const auto &[a, b] = change.atoms;
        if (const auto predicted = predictedLength(found->matches[0], change.atoms))
            check.ends.push_back({change.atoms, *predicted, lengthIn(*mol, a, b)});
    }
}

} // namespace saddlefit::host
