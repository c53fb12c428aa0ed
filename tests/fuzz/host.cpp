/// Any sequence of calls of the flat interface, with a model of what the molecule holds.
#include "saddlefit/host.h"

#include "saddlefit/database.h"
#include "saddlefit/reaction.h"

#include "tests/fuzz/bytes.hpp"

#include <cstring>
#include <optional>
#include <sstream>

using namespace saddlefit;
using namespace saddlefit::fuzz;

namespace {

constexpr int usualAtoms = 7, usualBonds = 12, usualOthers = 5;

/// Four structures of up to six atoms, all with the code of a C-Br bond that breaks, and one with
/// another.
class Database : public ScratchFile {
public:
    Database() {
        store("methane", {{6, 0, 0, 0},
                          {35, 2.3, 0, 0},
                          {9, -0.5, 1.2, 0},
                          {8, -0.5, -0.6, 1.1},
                          {1, -0.5, -0.5, -0.9}});
        store("bare", {{6, 0, 0, 0},
                       {35, 2.5, 0, 0},
                       {1, -0.5, 1, 0},
                       {1, -0.5, -0.5, 0.9},
                       {1, -0.5, -0.5, -0.9}});
        store("ethane", {{6, 0, 0, 0},
                         {35, 2.2, 0, 0},
                         {6, -0.5, 1.4, 0},
                         {1, -0.5, -0.5, 0.9},
                         {1, -0.5, -0.5, -0.9},
                         {8, 0.4, 2.4, 0.1}});
        store("pair", {{6, 0, 0, 0}, {35, 2.1, 0, 0}});
        store("other", {{6, 0, 0, 0}, {17, 2.1, 0, 0}, {1, -1, 0, 0}});
    }

private:
    void store(const char *name, const std::vector<std::array<double, 4>> &atoms) {
        const OwnedMol mol(createMol());
        for (const auto &[element, x, y, z] : atoms)
            addAtom(mol.get(), x, y, z, static_cast<int>(element));
        for (int i = 1; i < mol->atomCount; ++i)
            addBond(mol.get(), i == 5 ? 2 : 0, i, i > 1);
        mol->transitions = allocateArray<Transition>(1);
        mol->transitions[0] = {0, 1, -1, -1};
        mol->transitionCount = 1;
        const OwnedBlock<int> code(getTransitionCode(mol.get()));
        require(insertDB(path(), strdup(name), code.get(), mol.get()) == 1,
                "structures are stored");
    }
};

/// A line of text for an item of a molecule, its numbers to the last bit.
template <class... Values> std::string line(const Values &...values) {
    std::ostringstream text;
    text << std::hexfloat;
    ((text << values << ' '), ...);
    return text.str();
}

std::string textOf(const char *text) {
    return text ? text : "(none)";
}

using Lines = std::vector<std::string>;

const std::string noAtom = line(0, 0, textOf(nullptr), 0.0, 0.0, 0.0), noBond = line(0, 0, 0),
                  noConstraint = line(0, 0, 0, 0, 0.0, 0.0), noTransition = line(0, 0, 0, 0);

/// What is seen of a molecule through the interface.
struct Seen {
    std::string name = textOf(nullptr);
    Lines atoms, bonds, constraints, transitions;

    bool operator==(const Seen &) const = default;
};

Seen look(Molecule *mol) {
    Seen seen;
    const char *text = nullptr;
    int a = 0, b = 0, c = 0, d = 0;
    double x = 0, y = 0, z = 0;
    require(C_getName(mol, &text) == 1, "a name can be read");
    seen.name = textOf(text);
    for (int i = 0; C_getAtom(mol, i, &a, &b, &text, &x, &y, &z); ++i)
        seen.atoms.push_back(line(a, b, textOf(text), x, y, z));
    for (int i = 0; C_getBond(mol, i, &a, &b, &c); ++i)
        seen.bonds.push_back(line(a, b, c));
    for (int i = 0; C_getConstraint(mol, i, &a, &b, &c, &d, &x, &y); ++i) {
        seen.constraints.push_back(line(a, b, c, d, x, y));
    }
    for (int i = 0; C_getTransition(mol, i, &a, &b, &c, &d); ++i)
        seen.transitions.push_back(line(a, b, c, d));
    return seen;
}

/// An index of an array, at times one that cannot be, or that would take terabytes.
int index(Bytes &bytes, int usual) {
    constexpr int wild[] = {-1, INT_MIN, INT_MAX, INT_MAX - 1, 1 << 30, 300};
    const int choice = bytes.byte();
    return choice < 240 ? choice % usual : wild[choice % 6];
}

/// Whether a setter may answer 1 to an index.
bool possible(int index) {
    return index >= 0 && index <= 300;
}

class Host {
public:
    Host(const char *database, Bytes &bytes) : database_(database), bytes_(bytes) { create(); }
    ~Host() {
        C_finishReaction(mol_);
        C_freeMolecule(mol_);
    }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    void step() {
        switch (bytes_.below(16)) {
        case 0:
        case 1:
        case 2:
        case 3:
            return setAtom();
        case 4:
        case 5:
        case 6:
            return setBond();
        case 7:
        case 8:
            return setTransition();
        case 9:
            return setConstraint();
        case 10:
            return setName();
        case 11:
        case 12:
            return start();
        case 13:
            return finish();
        case 14:
            return readStereoCodes();
        default:
            return bytes_.byte() < 64 ? create() : readNothing();
        }
    }

private:
    void create() {
        C_freeMolecule(mol_);
        const int atoms = index(bytes_, usualAtoms), bonds = index(bytes_, usualBonds);
        const int constraints = index(bytes_, usualOthers), steps = index(bytes_, usualOthers);
        mol_ = C_createMolecule(atoms, bonds, constraints, steps);
        const bool can =
            possible(atoms) && possible(bonds) && possible(constraints) && possible(steps);
        require(!mol_ != can, "a molecule is made of what there is memory for");
        seen_ = {};
        if (!mol_) return;
        seen_.atoms.resize(static_cast<std::size_t>(atoms), noAtom);
        seen_.bonds.resize(static_cast<std::size_t>(bonds), noBond);
        seen_.constraints.resize(static_cast<std::size_t>(constraints), noConstraint);
        seen_.transitions.resize(static_cast<std::size_t>(steps), noTransition);
        require(look(mol_) == seen_, "what is new is zero");
    }

    /// After a setter: the item stands at its index, and whatever is new beside it is zero.
    void expect(int answer, Lines &items, int place, const std::string &item,
                const std::string &none) {
        require(answer == (mol_ && possible(place) ? 1 : 0), "a setter can do what is possible");
        if (answer) {
            const auto slot = static_cast<std::size_t>(place);
            if (slot >= items.size()) items.resize(slot + 1, none);
            items[slot] = item;
        }
        if (mol_) require(look(mol_) == seen_, "a setter sets its item and nothing else");
    }

    void setAtom() {
        const int place = index(bytes_, usualAtoms), frozen = bytes_.below(2);
        const int element = bytes_.byte() < 32 ? 35 : bytes_.element();
        const auto label = text();
        const char *given = label ? label->c_str() : nullptr;
        const double x = bytes_.coordinate(), y = bytes_.coordinate(), z = bytes_.coordinate();
        expect(C_setAtom(mol_, place, element, frozen, given, x, y, z), seen_.atoms, place,
               line(element, frozen, textOf(given), x, y, z), noAtom);
    }
    void setBond() {
        const int place = index(bytes_, usualBonds), type = bytes_.mostlyBelow(6);
        const int a = bytes_.mostlyBelow(usualAtoms), b = bytes_.mostlyBelow(usualAtoms);
        expect(C_setBond(mol_, place, a, b, type), seen_.bonds, place, line(a, b, type), noBond);
    }
    std::array<int, 4> fourAtoms() {
        std::array<int, 4> atoms{};
        for (int &atom : atoms)
            atom = bytes_.mostlyBelow(usualAtoms);
        return atoms;
    }
    void setTransition() {
        const int place = index(bytes_, usualOthers);
        const auto [a, b, c, d] = bytes_.flag() ? fourAtoms() : std::array{0, 1, -1, -1};
        expect(C_setTransition(mol_, place, a, b, c, d), seen_.transitions, place, line(a, b, c, d),
               noTransition);
    }
    void setConstraint() {
        const int place = index(bytes_, usualOthers);
        const auto [a, b, c, d] = fourAtoms();
        const double value = bytes_.coordinate(), parameter = bytes_.coordinate();
        expect(C_setConstraint(mol_, place, a, b, c, d, value, parameter), seen_.constraints, place,
               line(a, b, c, d, value, parameter), noConstraint);
    }
    void setName() {
        const auto name = text();
        const char *given = name ? name->c_str() : nullptr;
        require(C_setName(mol_, given) == (mol_ ? 1 : 0), "a name is set");
        if (!mol_) return;
        seen_.name = textOf(given);
        require(look(mol_) == seen_, "a name is kept");
    }
    std::optional<std::string> text() {
        const int length = bytes_.below(5) - 1;
        if (length < 0) return std::nullopt;
        std::string letters;
        while (static_cast<int>(letters.size()) < length)
            letters += static_cast<char>('!' + bytes_.below(90));
        return letters;
    }

    const char *path() {
        const int choice = bytes_.byte();
        return choice < 208 ? database_ : choice < 240 ? nullptr : "/nonexistent/database";
    }
    void start() {
        const char *database = path();
        const int goesOn = C_startReaction(mol_, database);
        if (!mol_) {
            require(goesOn == 0, "no molecule, no reaction");
            return;
        }
        const Seen after = look(mol_);
        require(after.transitions == seen_.transitions, "the transitions stay");
        require(after.atoms.size() == seen_.atoms.size(), "atoms stay");
        require(after.bonds.size() >= seen_.bonds.size(), "bonds are made, none is removed");
        require(goesOn || (database && after.name.ends_with(" (Exact)")),
                "what ends a reaction is an exact match");
        requireConstraints();
        seen_ = after;
    }
    void finish() {
        const Seen before = seen_;
        const int placed = C_finishReaction(mol_);
        if (!mol_) {
            require(placed == 0, "no molecule, nothing to place");
            return;
        }
        seen_ = look(mol_);
        require(placed || seen_ == before, "where nothing is held nothing changes");
        require(C_finishReaction(mol_) == 0, "what was held is placed once");
        require(seen_.bonds == before.bonds && seen_.atoms.size() == before.atoms.size(),
                "the bonds stay");
        if (placed) requireConstraints();
    }
    void requireConstraints() const {
        for (const Constraint &constraint : constraintsOf(*mol_))
            for (const int atom : {constraint.a, constraint.b, constraint.c, constraint.d})
                require(atom == -1 || hasAtom(*mol_, atom), "constraints name atoms");
    }

    void readStereoCodes() {
        std::vector<int> codes(seen_.atoms.size() + 1, 77);
        require(C_getRS(mol_, codes.data()) == (mol_ ? 1 : 0), "stereo codes can be read");
        require(codes.back() == 77, "no more of them than atoms");
        codes.pop_back();
        for (const int code : codes)
            require(code >= 0 && code <= 2, "a stereo code is 0, R or S");
    }

    /// Getters without places to write to, and with indices that name nothing.
    void readNothing() {
        const int place = index(bytes_, usualBonds);
        const auto there = [&](std::size_t count) {
            return mol_ && place >= 0 && static_cast<std::size_t>(place) < count ? 1 : 0;
        };
        require(C_getAtom(mol_, place, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) ==
                        there(seen_.atoms.size()) &&
                    C_getBond(mol_, place, nullptr, nullptr, nullptr) ==
                        there(seen_.bonds.size()) &&
                    C_getConstraint(mol_, place, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr) == there(seen_.constraints.size()) &&
                    C_getTransition(mol_, place, nullptr, nullptr, nullptr, nullptr) ==
                        there(seen_.transitions.size()),
                "what is there can be read");
    }

    const char *database_;
    Bytes &bytes_;
    Molecule *mol_ = nullptr;
    Seen seen_;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Database database;
    silence();
    Bytes bytes(data, size);
    Host host(database.path(), bytes);
    for (int steps = 0; steps < 100 && !bytes.empty(); ++steps)
        host.step();
    return 0;
}
