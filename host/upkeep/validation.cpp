#include "host/upkeep/validation.hpp"

#include "saddlefit/reaction.h"

#include "host/search/search.hpp"
#include "host/system/diverted_stdout.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/shape.hpp"
#include "host/upkeep/stored_question.hpp"

#include <cstdlib>
#include <memory>

namespace saddlefit::host {

namespace {

// What a search leaves.
struct Found {
    std::size_t position = 0;
    HostMolecule mol;   // that was asked for
    HostMolecule match; // none with an exact one: its coordinates are those of `mol`
    std::unique_ptr<int, decltype(&std::free)> map{nullptr, &std::free};

    bool isExact() const { return !match; }
};

std::optional<Found> ask(const Reaction &reaction, const std::string &database) {
    Found found;
    found.mol = startMolecule(reaction);
    applyTransition(found.mol.get());
    Molecule *match = nullptr;
    int *map = nullptr;
    const CapturedStdout captured;
    if (mapDB(database.c_str(), found.mol.get(), &match, &map) != 1) return std::nullopt;
    found.match.reset(match);
    found.map.reset(map);
    found.position = std::stoul(nameOf(found.mol.get())); // " (Exact)" may follow
    return found;
}

double lengthIn(Molecule &mol, int a, int b) {
    return calcDist(mol.atoms + a, mol.atoms + b);
}

// Nothing if the answer has no such bond.
std::optional<double> predictedLength(const Found &found, const AtomPair &atoms) {
    const auto [a, b] = atoms;
    if (found.isExact()) return lengthIn(*found.mol, a, b);
    const int mappedA = found.map.get()[a], mappedB = found.map.get()[b];
    if (mappedA < 0 || mappedB < 0) return std::nullopt;
    return lengthIn(*found.match, mappedA, mappedB);
}

Shape shapeOf(const StoredRecord &record) {
    return Shape(record.atoms, record.transitions);
}

// The record under another name, in a block of its own.
std::string renamedBlock(const StoredRecord &record, const std::string &name) {
    const auto mol = hostMolecule(record.atoms, record.bonds, record.transitions);
    const auto bytes = recordBytes(*mol, name);
    return bytes ? blockHeader(bytes->size()) + *bytes : std::string{};
}

std::string quoted(const Database &database, std::size_t position) {
    return inOneLine(recordAt(database, position).name) + " (record " + std::to_string(position) +
           ")";
}

} // namespace

Validation::Validation(const Database &database) : database_(database) {
    for (std::size_t position = 0; position < database.records.size(); ++position) {
        const auto reading = database.read(position);
        if (const auto *damage = std::get_if<Damage>(&reading)) {
            damaged_[position] = "damaged at offset " + std::to_string(damage->offset) + ": " +
                                 damage->what + "; \"saddlefit db salvage\" leaves it out";
        } else {
            byCode_[std::get<StoredRecord>(reading).code].push_back(position);
        }
    }
}

std::vector<std::size_t> Validation::positions() const {
    std::vector<std::size_t> all;
    for (const auto &[code, positions] : byCode_)
        all.insert(all.end(), positions.begin(), positions.end());
    return all;
}

RecordCheck Validation::check(std::size_t position) {
    RecordCheck check;
    check.position = position;
    const auto record = recordAt(database_, position);
    const auto reaction = reactionOf(record, database_.path);
    if (!reaction) {
        check.problem = "its bonds are not such as its transitions leave; remove it and add its "
                        "reaction anew";
        return check;
    }
    gather(record.code);
    checkItself(*reaction, check);
    predict(*reaction, check);
    return check;
}

void Validation::gather(const Code &code) {
    if (group_ && group_->code == code) return;
    group_ = std::make_unique<Group>();
    group_->code = code;
    std::string bytes;
    for (const auto position : byCode_.at(code)) {
        const auto name = std::to_string(position);
        const auto block = renamedBlock(recordAt(database_, position), name);
        group_->blocks[position] = block;
        bytes += block;
    }
    group_->all.write(bytes);
}

void Validation::checkItself(const Reaction &reaction, RecordCheck &check) {
    const auto found = ask(reaction, group_->all.path());
    if (!found) {
        check.problem = "a search for it finds nothing; remove it and add its reaction anew";
    } else if (!found->isExact()) {
        check.problem = "a search for it is answered in part only, by " +
                        quoted(database_, found->position) +
                        "; remove it and add its reaction anew";
    } else if (found->position != check.position &&
               !shapeOf(recordAt(database_, found->position))
                    .isLike(shapeOf(recordAt(database_, check.position)))) {
        check.problem = "a search for it is answered by " + quoted(database_, found->position) +
                        ", which has the same bonds, another shape and comes first; remove one of "
                        "the two";
    }
}

void Validation::predict(const Reaction &reaction, RecordCheck &check) {
    check.asked = true;
    std::string bytes;
    for (const auto &[position, block] : group_->blocks)
        if (position != check.position) bytes += block;
    if (bytes.empty()) return;
    group_->others.write(bytes);
    const auto found = ask(reaction, group_->others.path());
    if (!found) return;
    check.from = found->position;
    const auto mol = hostMolecule(reaction.reactant.atoms);
    for (const auto &change : reaction.changes) {
        if (change.before != 0 && change.after != 0) continue;
        const auto &[a, b] = change.atoms;
        if (const auto predicted = predictedLength(*found, change.atoms))
            check.ends.push_back({change.atoms, *predicted, lengthIn(*mol, a, b)});
    }
}

} // namespace saddlefit::host
