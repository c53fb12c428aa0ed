/// Any sequence of calls of the flat interface, with a model of what the molecule holds.
#include "saddlefit/host.h"

#include "saddlefit/database.h"
#include "saddlefit/reaction.h"

#include "tests/fuzz/bytes.hpp"

#include <cstring>
#include <optional>

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

/// What is seen of a molecule through the interface.
struct Seen {
    struct SeenAtom {
        int element = 0, frozen = 0;
        std::optional<std::string> label;
        double x = 0, y = 0, z = 0;

        bool operator==(const SeenAtom &other) const {
            return element == other.element && frozen == other.frozen && label == other.label &&
                   same(x, other.x) && same(y, other.y) && same(z, other.z);
        }
    };
    struct SeenConstraint {
        std::array<int, 4> atoms{};
        double value = 0, parameter = 0;

        bool operator==(const SeenConstraint &other) const {
            return atoms == other.atoms && same(value, other.value) &&
                   same(parameter, other.parameter);
        }
    };
    std::optional<std::string> name;
    std::vector<SeenAtom> atoms;
    std::vector<std::array<int, 3>> bonds;
    std::vector<SeenConstraint> constraints;
    std::vector<std::array<int, 4>> transitions;

    bool operator==(const Seen &) const = default;
};

std::optional<std::string> textOf(const char *text) {
    return text ? std::optional<std::string>(text) : std::nullopt;
}

/// Reads until the interface says that there is no more.
template <class Item, class Get> std::vector<Item> readAll(Get get) {
    std::vector<Item> items;
    for (Item item; get(static_cast<int>(items.size()), item);)
        items.push_back(item);
    return items;
}

Seen look(Molecule *mol) {
    Seen seen;
    const char *name = nullptr;
    require(C_getName(mol, &name) == 1, "a name can be read");
    seen.name = textOf(name);
    seen.atoms = readAll<Seen::SeenAtom>([mol](int i, Seen::SeenAtom &atom) {
        const char *label = nullptr;
        const int there =
            C_getAtom(mol, i, &atom.element, &atom.frozen, &label, &atom.x, &atom.y, &atom.z);
        atom.label = textOf(label);
        return there;
    });
    seen.bonds = readAll<std::array<int, 3>>(
        [mol](int i, auto &bond) { return C_getBond(mol, i, &bond[0], &bond[1], &bond[2]); });
    seen.constraints = readAll<Seen::SeenConstraint>([mol](int i, auto &constraint) {
        auto &[a, b, c, d] = constraint.atoms;
        return C_getConstraint(mol, i, &a, &b, &c, &d, &constraint.value, &constraint.parameter);
    });
    seen.transitions = readAll<std::array<int, 4>>([mol](int i, auto &transition) {
        auto &[breakA, breakB, formA, formB] = transition;
        return C_getTransition(mol, i, &breakA, &breakB, &formA, &formB);
    });
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
        seen_.atoms.resize(static_cast<std::size_t>(atoms));
        seen_.bonds.resize(static_cast<std::size_t>(bonds));
        seen_.constraints.resize(static_cast<std::size_t>(constraints));
        seen_.transitions.resize(static_cast<std::size_t>(steps));
        require(look(mol_) == seen_, "what is new is zero");
    }

    /// After a setter: the item stands at its index, and whatever is new beside it is zero.
    template <class Item> void expect(int answer, std::vector<Item> &items, int place, Item item) {
        require(answer == (mol_ && possible(place) ? 1 : 0), "a setter can do what is possible");
        if (answer) {
            const auto slot = static_cast<std::size_t>(place);
            if (slot >= items.size()) items.resize(slot + 1);
            items[slot] = item;
        }
        if (mol_) require(look(mol_) == seen_, "a setter sets its item and nothing else");
    }

    void setAtom() {
        const int place = index(bytes_, usualAtoms);
        const auto label = text();
        const Seen::SeenAtom atom{bytes_.byte() < 32 ? 35 : bytes_.element(),
                                  bytes_.below(2),
                                  label,
                                  bytes_.coordinate(),
                                  bytes_.coordinate(),
                                  bytes_.coordinate()};
        expect(C_setAtom(mol_, place, atom.element, atom.frozen, label ? label->c_str() : nullptr,
                         atom.x, atom.y, atom.z),
               seen_.atoms, place, atom);
    }
    void setBond() {
        const int place = index(bytes_, usualBonds);
        const std::array<int, 3> bond = {bytes_.mostlyBelow(usualAtoms),
                                         bytes_.mostlyBelow(usualAtoms), bytes_.mostlyBelow(6)};
        expect(C_setBond(mol_, place, bond[0], bond[1], bond[2]), seen_.bonds, place, bond);
    }
    void setTransition() {
        const int place = index(bytes_, usualOthers);
        std::array<int, 4> atoms = {0, 1, -1, -1};
        if (bytes_.flag())
            for (int &atom : atoms)
                atom = bytes_.mostlyBelow(usualAtoms);
        expect(C_setTransition(mol_, place, atoms[0], atoms[1], atoms[2], atoms[3]),
               seen_.transitions, place, atoms);
    }
    void setConstraint() {
        const int place = index(bytes_, usualOthers);
        Seen::SeenConstraint constraint;
        for (int &atom : constraint.atoms)
            atom = bytes_.mostlyBelow(usualAtoms);
        constraint.value = bytes_.coordinate();
        constraint.parameter = bytes_.coordinate();
        const auto &[a, b, c, d] = constraint.atoms;
        expect(C_setConstraint(mol_, place, a, b, c, d, constraint.value, constraint.parameter),
               seen_.constraints, place, constraint);
    }
    void setName() {
        const auto name = text();
        require(C_setName(mol_, name ? name->c_str() : nullptr) == (mol_ ? 1 : 0), "a name is set");
        if (!mol_) return;
        seen_.name = name;
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
        for (std::size_t i = 0; i < after.atoms.size(); ++i)
            require(after.atoms[i].element == seen_.atoms[i].element &&
                        after.atoms[i].frozen == seen_.atoms[i].frozen &&
                        after.atoms[i].label == seen_.atoms[i].label,
                    "atoms move at most");
        require(after.bonds.size() >= seen_.bonds.size(), "bonds are made, none is removed");
        require(goesOn || (database && after.name && after.name->ends_with(" (Exact)")),
                "what ends a reaction is an exact match");
        requireConstraints(after);
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
        if (placed) requireConstraints(seen_);
    }
    static void requireConstraints(const Seen &seen) {
        const int count = static_cast<int>(seen.atoms.size());
        for (const auto &constraint : seen.constraints)
            for (const int atom : constraint.atoms)
                require(atom >= -1 && atom < count, "constraints name atoms");
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
