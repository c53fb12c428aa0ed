/// Any sequence of calls of the flat interface.
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
        const int choice = bytes_.below(16);
        if (choice < 4) return setAtom();
        if (choice < 7) return setBond();
        if (choice < 9) return setTransition();
        if (choice == 9) return setConstraint();
        if (choice == 10) return setName();
        if (choice < 13) return start();
        if (choice == 13) return finish();
        if (choice == 14) return readStereoCodes();
        if (bytes_.byte() < 64) create();
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
    }

    /// After a setter: `get` reads the item that was set, and nothing behind the last one.
    template <class Get> void expect(int answer, int place, Get get, int count) {
        require(answer == (mol_ && possible(place) ? 1 : 0), "a setter can do what is possible");
        require(!answer || (place < count && get(place)), "what was set can be read");
        require(!mol_ || (!get(count) && !get(-1)), "no more can be read than is there");
    }

    void setAtom() {
        const int place = index(bytes_, usualAtoms), frozen = bytes_.below(2);
        const int element = bytes_.byte() < 32 ? 35 : bytes_.element();
        const auto label = text();
        const double x = bytes_.coordinate(), y = bytes_.coordinate(), z = bytes_.coordinate();
        const int answer =
            C_setAtom(mol_, place, element, frozen, label ? label->c_str() : nullptr, x, y, z);
        const auto get = [&](int i) {
            int e = 0, f = 0;
            const char *l = nullptr;
            double u = 0, v = 0, w = 0;
            if (!C_getAtom(mol_, i, &e, &f, &l, &u, &v, &w)) return false;
            return i != place || (e == element && f == frozen && !l == !label &&
                                  (!l || *label == l) && same(u, x) && same(v, y) && same(w, z));
        };
        expect(answer, place, get, mol_ ? mol_->atomCount : 0);
    }
    void setBond() {
        const int place = index(bytes_, usualBonds), type = bytes_.mostlyBelow(6);
        const int a = bytes_.mostlyBelow(usualAtoms), b = bytes_.mostlyBelow(usualAtoms);
        const int answer = C_setBond(mol_, place, a, b, type);
        const auto get = [&](int i) {
            int c = 0, d = 0, e = 0;
            return C_getBond(mol_, i, &c, &d, &e) &&
                   (i != place || (c == a && d == b && e == type));
        };
        expect(answer, place, get, mol_ ? mol_->bondCount : 0);
    }
    std::array<int, 4> fourAtoms() {
        std::array<int, 4> atoms{};
        for (int &atom : atoms)
            atom = bytes_.mostlyBelow(usualAtoms);
        return atoms;
    }
    void setTransition() {
        const int place = index(bytes_, usualOthers);
        const auto atoms = bytes_.flag() ? fourAtoms() : std::array{0, 1, -1, -1};
        const int answer = C_setTransition(mol_, place, atoms[0], atoms[1], atoms[2], atoms[3]);
        const auto get = [&](int i) {
            std::array<int, 4> read{};
            return C_getTransition(mol_, i, &read[0], &read[1], &read[2], &read[3]) &&
                   (i != place || read == atoms);
        };
        expect(answer, place, get, mol_ ? mol_->transitionCount : 0);
    }
    void setConstraint() {
        const int place = index(bytes_, usualOthers);
        const auto [a, b, c, d] = fourAtoms();
        const double value = bytes_.coordinate(), parameter = bytes_.coordinate();
        const int answer = C_setConstraint(mol_, place, a, b, c, d, value, parameter);
        const auto get = [&](int i) {
            int e = 0, f = 0, g = 0, h = 0;
            double v = 0, p = 0;
            return C_getConstraint(mol_, i, &e, &f, &g, &h, &v, &p) &&
                   (i != place || (same(v, value) && same(p, parameter)));
        };
        expect(answer, place, get, mol_ ? mol_->constraintCount : 0);
    }
    void setName() {
        const auto name = text();
        require(C_setName(mol_, name ? name->c_str() : nullptr) == (mol_ ? 1 : 0), "a name is set");
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
        const int before = mol_ ? mol_->bondCount : 0;
        const int goesOn = C_startReaction(mol_, database);
        require(mol_ || goesOn == 0, "no molecule, no reaction");
        if (!mol_) return;
        require(mol_->bondCount >= before, "bonds are made, none is removed");
        const std::string name = mol_->name ? mol_->name : "";
        require(goesOn || (database && name.ends_with(" (Exact)")),
                "what ends a reaction is an exact match");
        requireConstraints();
    }
    void finish() {
        const int placed = C_finishReaction(mol_);
        require(mol_ || placed == 0, "no molecule, nothing to place");
        require(C_finishReaction(mol_) == 0, "what was held is placed once");
        if (placed) requireConstraints();
    }
    void requireConstraints() const {
        for (const Constraint &constraint : constraintsOf(*mol_))
            for (const int atom : {constraint.a, constraint.b, constraint.c, constraint.d})
                require(atom == -1 || hasAtom(*mol_, atom), "constraints name atoms");
    }

    void readStereoCodes() {
        std::vector<int> codes(mol_ ? atomsOf(*mol_).size() + 1 : 1, 77);
        require(C_getRS(mol_, codes.data()) == (mol_ ? 1 : 0), "stereo codes can be read");
        require(codes.back() == 77, "no more of them than atoms");
        codes.pop_back();
        for (const int code : codes)
            require(code >= 0 && code <= 2, "a stereo code is 0, R or S");
    }

    const char *database_;
    Bytes &bytes_;
    Molecule *mol_ = nullptr;
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
