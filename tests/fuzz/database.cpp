/// Any bytes as a database file: what is read is what an independent reading of the format finds, a
/// removal changes no other bytes than it must, and a reaction can be searched in it.
#include "saddlefit/database.h"

#include "saddlefit/host.h"
#include "saddlefit/reaction.h"
#include "saddlefit/search.h"

#include "tests/fuzz/bytes.hpp"

#include <cstring>

using namespace saddlefit;
using namespace saddlefit::fuzz;

namespace {

/// Counts may ask for far more items than the file holds; those are read now and then only.
constexpr std::size_t usualItems = 1000, mostItems = 300000;

/// A search is exponential in the atoms of the query if the file says that nothing is bonded.
constexpr int mostQueryAtoms = 6;
constexpr std::size_t mostQueryItems = 100;
constexpr double mostPlacements = 50000;

constexpr std::int64_t furthest = INT32_MAX;

/// Where the fields of a record stand, and the short ones.
struct Record {
    std::size_t block = 0; ///< offset of its header
    int status = 0;
    std::string name; ///< all stored bytes
    std::vector<std::int32_t> codes;
    int atoms = 0, bonds = 0, transitions = 0;
    std::size_t firstAtom = 0;

    std::size_t items() const {
        return codes.size() + static_cast<std::size_t>(atoms + bonds + transitions);
    }
};

/// The file's bytes, behind whose end all bits are set.
class Image {
public:
    explicit Image(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) { walk(); }

    const std::vector<Record> &records() const { return records_; }
    const std::vector<std::uint8_t> &bytes() const { return bytes_; }

    std::uint32_t unsignedAt(std::size_t at, int width) const {
        std::uint32_t value = 0;
        for (int i = width - 1; i >= 0; --i)
            value = value << 8 | byteAt(at + static_cast<std::size_t>(i));
        return value;
    }
    int integerAt(std::size_t at) const { return static_cast<int>(unsignedAt(at, 2)); }
    double realAt(std::size_t at) const {
        return static_cast<double>(std::bit_cast<float>(unsignedAt(at, 4)));
    }

    /// Whether a record claims no more than its block has.
    bool fits(const Record &record) const {
        const std::size_t length = 10 + record.name.size() + 2 * record.codes.size() +
                                   14 * static_cast<std::size_t>(record.atoms) +
                                   6 * static_cast<std::size_t>(record.bonds) +
                                   8 * static_cast<std::size_t>(record.transitions);
        return length <= unsignedAt(record.block, 4);
    }

private:
    std::uint32_t byteAt(std::size_t at) const { return at < bytes_.size() ? bytes_[at] : 0xFFu; }

    void walk() {
        while (end_ <= furthest && end_ + 4 <= static_cast<std::int64_t>(bytes_.size())) {
            const auto at = static_cast<std::size_t>(end_);
            if (byteAt(at + 4) != 0) readRecord(at);
            end_ += 5 + std::int64_t{unsignedAt(at, 4)};
        }
    }
    void readRecord(std::size_t block) {
        Record record;
        record.block = block;
        record.status = static_cast<int>(byteAt(block + 4));
        // Of a header that is cut off, the data begin where the file ends.
        std::size_t at = std::min(block + 5, bytes_.size());
        const auto length = static_cast<std::size_t>(integerAt(at));
        for (std::size_t i = at + 2; i < std::min(at + 2 + length, bytes_.size()); ++i)
            record.name += static_cast<char>(bytes_[i]);
        record.name.resize(length, '\0');
        at += 2 + length;
        record.codes.resize(static_cast<std::size_t>(integerAt(at)), -1);
        for (std::int32_t &code : record.codes)
            if (const int stored = integerAt(at += 2); stored != 0xFFFF) code = stored;
        record.atoms = integerAt(at += 2);
        record.bonds = integerAt(at += 2);
        record.transitions = integerAt(at += 2);
        record.firstAtom = at + 2;
        records_.push_back(std::move(record));
    }

    std::vector<std::uint8_t> bytes_;
    std::vector<Record> records_; // in file order
    std::int64_t end_ = 0;        // where the walk ends
};

void requireMolecule(const Image &image, const Record &record, const Molecule &mol) {
    require(mol.atomCount == record.atoms && mol.bondCount == record.bonds &&
                mol.transitionCount == record.transitions,
            "a molecule has as many items as its record says");
    std::size_t at = record.firstAtom;
    for (const Atom &atom : atomsOf(mol)) {
        require(atom.element == image.integerAt(at + 12) && same(atom.x, image.realAt(at)) &&
                    same(atom.y, image.realAt(at + 4)) && same(atom.z, image.realAt(at + 8)),
                "atoms are as stored");
        at += 14;
    }
    for (const Bond *bond : bondsOf(mol)) {
        require(bond->atom1 == image.integerAt(at) && bond->atom2 == image.integerAt(at + 2) &&
                    bond->type == image.integerAt(at + 4),
                "bonds are as stored");
        at += 6;
    }
    for (const auto &[breakA, breakB, formA, formB] : transitionsOf(mol))
        for (const int atom : {breakA, breakB, formA, formB}) {
            require(atom == atomOrNone(mol, image.integerAt(at)), "transitions are as stored");
            at += 2;
        }
}

void requireList(const ScratchFile &file, const Image &image) {
    char **names = nullptr;
    const int count = listDB(file.path(), &names);
    require(static_cast<std::size_t>(count) == image.records().size(), "every record is listed");
    for (int i = 0; i < count; ++i) {
        require(std::strcmp(names[i], image.records()[static_cast<std::size_t>(i)].name.c_str()) ==
                    0,
                "names are listed in file order");
        std::free(names[i]);
    }
    std::free(static_cast<void *>(names));
}

void requireMolecules(const ScratchFile &file, const Image &image) {
    std::FILE *stream = std::fopen(file.path(), "rb");
    for (const Record &record : image.records()) {
        Molecule *mol = nullptr;
        const OwnedBlock<char> name(readDB(stream, nullptr, nullptr, &mol));
        const OwnedMol owned(mol);
        require(name && mol, "every record is read");
        require(record.name.c_str() == std::string(name.get()), "a name ends at its NUL or length");
        requireMolecule(image, record, *mol);
    }
    for (int i = 0; i < 2; ++i)
        require(!readDB(stream, nullptr, nullptr, nullptr), "behind the last record there is none");
    std::fclose(stream);
}

/// The open database reads what the stream reads, but for records that do not fit their blocks.
void requireOpenDatabase(const ScratchFile &file, const Image &image) {
    struct Walk {
        const Image &image;
        std::size_t next = 0; ///< among the records

        void passOversized() {
            while (next < image.records().size() && !image.fits(image.records()[next]))
                ++next;
        }
        static int take(Molecule *structure, int record, void *context) {
            auto &self = *static_cast<Walk *>(context);
            const OwnedMol mol(structure);
            self.passOversized();
            require(static_cast<std::size_t>(record) == self.next, "no record is left out");
            requireMolecule(self.image, self.image.records()[self.next++], *mol);
            return 0;
        }
    } walk{image};
    ReactionDatabase *open = openReactionDatabase(file.path());
    visitReactions(open, nullptr, Walk::take, &walk);
    require(reactionDatabaseFailures(open) == 0, "the file can be read");
    closeReactionDatabase(open);
    walk.passOversized();
    require(walk.next == image.records().size(), "all records that fit are visited");
}

void requireRemoval(const ScratchFile &file, const Image &image, int position) {
    std::vector<std::uint8_t> expected = image.bytes();
    int before = 0;
    bool there = false;
    for (const Record &record : image.records())
        if (record.status == 1 && before++ == position) {
            expected[record.block + 4] = 0;
            there = true;
        }
    require(removeDB(file.path(), position) == (there ? 1 : 0), "positions count blocks in use");
    require(file.read() == expected, "removing changes a status and nothing else");
}

/// In how many ways the atoms of the one may lie on those of the other.
double placements(int own, int far) {
    double ways = 1;
    for (int i = 0; i < own && far - i > 0; ++i)
        ways *= far - i;
    return ways;
}

bool searchable(const Image &image, const Record &record) {
    return record.transitions > 0 && record.atoms <= mostQueryAtoms &&
           record.items() <= mostQueryItems &&
           std::ranges::all_of(image.records(), [&](const Record &other) {
               return other.codes != record.codes ||
                      placements(record.atoms, other.atoms) <= mostPlacements;
           });
}

/// Something like a stored structure, as a host would ask for it.
OwnedMol query(const Molecule &stored, int change) {
    OwnedMol mol = copyOf(stored);
    for (Atom &atom : atomsOf(*mol)) {
        if (change & 1) atom.x = -atom.x;
        if (change & 2) atom.y = 1.1 * atom.z + 0.25;
    }
    if ((change & 4) && mol->atomCount > 0) mol->atoms[mol->atomCount - 1].element = 9;
    if ((change & 8) && mol->atomCount > 0) addAtom(mol.get(), 1, 1, 1, 6);
    return mol;
}

void requireReaction(const ScratchFile &file, const Molecule &stored, int change) {
    const OwnedMol mol = query(stored, change), started = query(stored, change);
    applyTransition(mol.get());
    Molecule *match = nullptr;
    int *map = nullptr;
    const int found = mapDB(file.path(), mol.get(), &match, &map);
    const OwnedMol ownedMatch(match);
    const OwnedBlock<int> ownedMap(map);
    require(!match == !map, "a match comes with its map");
    require(found || !match, "without a result there is no match");
    for (int atom = 0; match && atom < mol->atomCount; ++atom)
        require(map[atom] < match->atomCount, "partners are atoms of the match");

    const int goesOn = C_startReaction(started.get(), file.path());
    require(goesOn == !(found && !match), "only an exact match ends a reaction");
    require(C_finishReaction(started.get()) == (match != nullptr), "what is held is placed");
    for (int atom = 0; match && atom < started->atomCount; ++atom)
        require(map[atom] < 0 || started->atoms[atom].frozen == 1, "mapped atoms are frozen");
    require(C_finishReaction(started.get()) == 0, "and held no longer");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const ScratchFile file;
    silence();
    Bytes bytes(data, size);
    const int choice = bytes.byte(), change = bytes.byte();
    const Image image({bytes.rest().begin(), bytes.rest().end()});
    file.write(bytes.rest());
    requireList(file, image);
    if (image.records().empty()) return 0;

    std::size_t items = 0;
    for (const Record &record : image.records())
        items += record.items();
    if (items > mostItems || (items > usualItems && size % 64 != 0)) return 0;
    requireMolecules(file, image);
    requireOpenDatabase(file, image);
    const auto chosen = static_cast<std::size_t>(choice) % image.records().size();
    const Record &record = image.records()[chosen];

    std::FILE *stream = std::fopen(file.path(), "rb");
    Molecule *mol = nullptr;
    for (std::size_t i = 0; i <= chosen; ++i) {
        freeMol(mol);
        std::free(readDB(stream, nullptr, nullptr, &mol));
    }
    const OwnedMol stored(mol);
    std::fclose(stream);
    if (searchable(image, record)) requireReaction(file, *stored, change);
    requireRemoval(file, image, choice - 2);
    return 0;
}
