#include "host/upkeep/record_guard.hpp"

#include "host/search/length_estimate.hpp"
#include "host/search/search.hpp"
#include "host/structures/elements.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

namespace saddlefit::host {

namespace {

// Records beyond these spoil more answers than they give (docs/quality.md).
constexpr double shortestStretch = 1.03; // lengths of the finished bond
constexpr double longestStretch = 2.0;   // lengths of a single bond
constexpr double mostStrained = 1.1;     // lengths of a single bond that a finished one may have

// Angstrom; the shortest bond there is, H-H, has 0.74.
constexpr double closestAtoms = 0.6;

// Angstrom, per coordinate: what single precision and four decimals in a file leave.
constexpr double equalCoordinate = 1e-4;

// Reads the atoms of a reaction where it begins.
class Plausibility {
public:
    explicit Plausibility(const Reaction &reaction) : reaction_(reaction) {}

    std::vector<Objection> judge() {
        for (const auto &change : reaction_.changes) {
            if (change.before == 0 || change.after == 0) judgeLength(change);
        }
        judgeContacts();
        return std::move(objections_);
    }

private:
    void judgeLength(const BondChange &change) {
        const auto &[a, b] = change.atoms;
        const double length = distanceBetween(at(a), at(b));
        const double single = singleBondLength(element(a), element(b));
        const double finished = finishedLength(change, single);
        const auto text = labels(a, b) + ", which is " + (change.before == 0 ? "made" : "broken") +
                          formatted(", is %.2f angstrom long, ", length);
        if (length < shortestStretch * finished) {
            object(ObjectionKind::tooShort,
                   text + formatted("%.2f times its %.2f as a finished bond (%.2f at least are "
                                    "plausible)",
                                    length / finished, finished, shortestStretch));
        } else if (length > longestStretch * single) {
            object(ObjectionKind::tooLong,
                   text + formatted("%.2f single bonds (%.1f at most are plausible)",
                                    length / single, longestStretch));
        }
    }

    // A double bond is finished at a shorter length than a single one.
    double finishedLength(const BondChange &change, double single) const {
        const auto &atoms = (change.before == 0 ? reaction_.product : reaction_.reactant).atoms;
        if (!hasCoordinates(atoms)) return single;
        const double length =
            distanceBetween(atoms[static_cast<std::size_t>(change.atoms.first)].position,
                            atoms[static_cast<std::size_t>(change.atoms.second)].position);
        return length < mostStrained * single ? length : single;
    }

    // Names the closest two only: where atoms lie on top of each other there can be thousands.
    void judgeContacts() {
        const int count = static_cast<int>(reaction_.coordinates.size());
        double shortest = closestAtoms;
        AtomPair closest{-1, -1};
        for (int a = 0; a < count; ++a) {
            for (int b = a + 1; b < count; ++b) {
                const double length = distanceBetween(at(a), at(b));
                if (length >= shortest) continue;
                shortest = length;
                closest = {a, b};
            }
        }
        if (closest.first < 0) return;
        object(ObjectionKind::tooClose, label(closest.first) + " and " + label(closest.second) +
                                            formatted(" are only %.2f angstrom apart", shortest));
    }

    void object(ObjectionKind kind, std::string text) {
        objections_.push_back({kind, std::move(text)});
    }
    const Position &at(int atom) const {
        return reaction_.coordinates[static_cast<std::size_t>(atom)];
    }
    int element(int atom) const {
        return reaction_.reactant.atoms[static_cast<std::size_t>(atom)].element;
    }
    std::string label(int atom) const { return atomLabel(element(atom), atom); }
    std::string labels(int a, int b) const { return label(a) + "-" + label(b); }

    const Reaction &reaction_;
    std::vector<Objection> objections_;
};

bool listSameCoordinates(const StoredRecord &record, const StoredRecord &other) {
    const auto equal = [](double a, double b) { return std::abs(a - b) <= equalCoordinate; };
    return std::equal(record.atoms.begin(), record.atoms.end(), other.atoms.begin(),
                      other.atoms.end(), [&](const StructureAtom &a, const StructureAtom &b) {
                          return a.element == b.element && equal(a.position.x, b.position.x) &&
                                 equal(a.position.y, b.position.y) &&
                                 equal(a.position.z, b.position.z);
                      });
}

bool answersExactly(const StoredRecord &stored, const Reaction &reaction) {
    const auto question = questionFor(Stage::full, reaction);
    if (!question) return false;
    std::vector<HostMolecule> one;
    one.push_back(hostMolecule(stored.atoms, stored.bonds, stored.transitions));
    const auto matches = Search(reaction, *question, *openReactions(std::move(one)), 1).matches();
    return !matches.empty() && matches.front().exact;
}

} // namespace

std::vector<Objection> implausibilities(const Reaction &reaction) {
    return Plausibility(reaction).judge();
}

DuplicateIndex::DuplicateIndex(const std::string &path) {
    std::error_code error; // of a folder that cannot be entered: the file in it cannot be opened
    if (!std::filesystem::exists(path, error) && !error) return;
    database_ = openDatabase(path);
    for (std::size_t position = 0; position < database_->records.size(); ++position) {
        const auto reading = database_->read(position);
        if (const auto *record = std::get_if<StoredRecord>(&reading))
            byCode_[record->code].push_back(
                {Shape(record->atoms, record->transitions), position, {}});
    }
}

void DuplicateIndex::add(const StoredRecord &record, std::string bytes) {
    byCode_[record.code].push_back({Shape(record.atoms, record.transitions), 0, std::move(bytes)});
}

StoredRecord DuplicateIndex::recordOf(const Entry &entry) const {
    return std::get<StoredRecord>(entry.bytes.empty() ? database_->read(entry.position)
                                                      : readRecord(entry.bytes));
}

std::optional<std::string> DuplicateIndex::find(const StoredRecord &record,
                                                const std::optional<Reaction> &reaction) const {
    const auto entries = byCode_.find(record.code);
    if (entries == byCode_.end()) return std::nullopt;
    const Shape shape(record.atoms, record.transitions);
    for (const auto &entry : entries->second) {
        if (!entry.shape.isLike(shape)) continue;
        const auto stored = recordOf(entry);
        if (listSameCoordinates(record, stored) || (reaction && answersExactly(stored, *reaction)))
            return stored.name;
    }
    return std::nullopt;
}

} // namespace saddlefit::host
