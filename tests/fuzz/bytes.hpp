/// What the bytes of a fuzzer's input mean: numbers, molecules, transitions; and what the fuzzers
/// share beside that.
#pragma once

#include "saddlefit/molecule.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <span>
#include <string>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace saddlefit::fuzz {

/// End the program, and so report the input, unless a property holds.
inline void require(bool holds, const char *property) {
    if (holds) return;
    std::fprintf(stderr, "Violated: %s\n", property);
    std::abort();
}

/// Takes one value after another off an input. Behind its end there are zeros.
class Bytes {
public:
    Bytes(const std::uint8_t *data, std::size_t size) : rest_(data, size) {}

    bool empty() const { return rest_.empty(); }
    std::span<const std::uint8_t> rest() const { return rest_; }

    int byte() {
        if (rest_.empty()) return 0;
        const std::uint8_t value = rest_.front();
        rest_ = rest_.subspan(1);
        return value;
    }
    int below(int n) { return n > 0 ? byte() % n : 0; }
    bool flag() { return byte() & 1; }
    template <class T, std::size_t N> T oneOf(const T (&values)[N]) {
        return values[below(static_cast<int>(N))];
    }
    std::uint32_t word() {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i)
            value = value << 8 | static_cast<std::uint32_t>(byte());
        return value;
    }

    /// An integer that no caller should pass.
    int wild() {
        constexpr int extremes[] = {-1, -2, 1000, 65534, 65535, INT_MAX, INT_MAX - 1, INT_MIN};
        const int choice = byte();
        if (choice % 9 < 8) return extremes[choice % 9];
        return static_cast<int>(word());
    }

    /// Mostly a value below n, at times n itself.
    int mostlyBelow(int n) {
        const int choice = byte();
        if (choice < 224 && n > 0) return choice % n;
        return choice < 232 ? n : wild();
    }

    /// Mostly one of the elements that have rules of their own.
    int element() {
        constexpr int usual[] = {6, 6, 6, 1, 1, 7, 8, 9, 16, 17, 15, 26, 3, 53, 0, 2};
        const int choice = byte();
        if (choice < 192) return usual[choice % 16];
        return choice < 240 ? choice - 128 : wild(); // 64 to 111 pass the ends of the tables
    }

    /// Mostly within a few angstrom of the origin, in steps that lengths of bonds fall between.
    double coordinate() {
        constexpr double extremes[] = {std::numeric_limits<double>::quiet_NaN(),
                                       std::numeric_limits<double>::infinity(),
                                       -std::numeric_limits<double>::infinity(),
                                       std::numeric_limits<double>::max(),
                                       std::numeric_limits<double>::denorm_min(),
                                       -0.0,
                                       1e6,
                                       -1e30};
        const int choice = byte();
        if (choice < 248) return (choice - 124) / 32.0;
        if (choice < 252) return extremes[below(8)];
        if (choice < 254) return 1e6 + (byte() - 128) / 32.0;
        const auto high = std::uint64_t{word()} << 32;
        return std::bit_cast<double>(high | word());
    }

private:
    std::span<const std::uint8_t> rest_;
};

/// Atoms at places, few enough that a search which is exponential in their number ends soon.
inline OwnedMol atoms(Bytes &bytes, int most) {
    OwnedMol mol(createMol());
    for (int left = bytes.below(most + 1); left > 0 && !bytes.empty(); --left) {
        const double x = bytes.coordinate(), y = bytes.coordinate(), z = bytes.coordinate();
        addAtom(mol.get(), x, y, z, bytes.element());
    }
    return mol;
}

/// Bonds between any atoms, also between an atom and itself, and twice between the same.
template <class Type> void addBonds(Bytes &bytes, Molecule &mol, Type typeFrom) {
    for (int left = bytes.below(2 * mol.atomCount + 2); left > 0 && !bytes.empty(); --left) {
        const int a = bytes.mostlyBelow(mol.atomCount), b = bytes.mostlyBelow(mol.atomCount);
        addBond(&mol, a, b, typeFrom(bytes));
    }
}

inline void addTransitions(Bytes &bytes, Molecule &mol, int most) {
    std::vector<Transition> transitions(static_cast<std::size_t>(bytes.below(most + 1)));
    const auto atom = [&] { return bytes.mostlyBelow(mol.atomCount); };
    for (Transition &transition : transitions)
        transition = {atom(), atom(), atom(), atom()};
    if (!resizeArray(mol.transitions, transitions.size())) std::abort();
    std::ranges::copy(transitions, mol.transitions);
    mol.transitionCount = static_cast<int>(transitions.size());
}

/// The same bits, or both not a number.
inline bool same(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) ||
           (std::isnan(a) && std::isnan(b));
}

inline bool samePlace(const Atom &a, const Atom &b) {
    return same(a.x, b.x) && same(a.y, b.y) && same(a.z, b.z);
}

inline OwnedMol copyOf(const Molecule &mol) {
    OwnedMol copy(createMol());
    for (const Atom &atom : atomsOf(mol))
        addAtom(copy.get(), atom.x, atom.y, atom.z, atom.element);
    for (const Bond *bond : bondsOf(mol))
        addBond(copy.get(), bond->atom1, bond->atom2, bond->type);
    if (!resizeArray(copy->transitions, transitionsOf(mol).size())) std::abort();
    std::ranges::copy(transitionsOf(mol), copy->transitions);
    copy->transitionCount = mol.transitionCount;
    return copy;
}

/// The lists of the index hold the bonds of each atom, in the order of the bonds, and no others.
inline void requireSoundIndex(const Molecule &mol) {
    for (int atom = 0; atom < mol.atomCount; ++atom) {
        const BondlinkNode *node = firstLink(mol, atom);
        for (Bond *bond : bondsOf(mol)) {
            const int a = bond->atom1, b = bond->atom2;
            if (a == b || !hasAtom(mol, a) || !hasAtom(mol, b)) continue;
            if (a != atom && b != atom) continue;
            require(node && node->bond == bond, "an atom's list names its bonds in their order");
            node = node->next;
        }
        require(!node, "an atom's list names no more than its bonds");
    }
}

/// A file in memory where there is such a place, gone at the end of the process.
class ScratchFile {
public:
    ScratchFile() {
        if (access("/dev/shm", W_OK) != 0) path_ = "/tmp/saddlefitXXXXXX";
        const int file = mkstemp(path_.data());
        if (file < 0) std::abort();
        close(file);
    }
    ~ScratchFile() { unlink(path()); }
    ScratchFile(const ScratchFile &) = delete;
    ScratchFile &operator=(const ScratchFile &) = delete;

    const char *path() const { return path_.c_str(); }
    void write(std::span<const std::uint8_t> bytes) const {
        std::FILE *file = std::fopen(path(), "wb");
        if (!file) std::abort();
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    }
    std::vector<std::uint8_t> read() const {
        std::FILE *file = std::fopen(path(), "rb");
        if (!file) std::abort();
        std::vector<std::uint8_t> bytes;
        std::array<std::uint8_t, 4096> piece;
        while (const std::size_t got = std::fread(piece.data(), 1, piece.size(), file))
            bytes.insert(bytes.end(), piece.begin(), piece.begin() + got);
        std::fclose(file);
        return bytes;
    }

private:
    std::string path_ = "/dev/shm/saddlefitXXXXXX";
};

/// The library reports its progress on standard output, which is more than anybody can read here.
inline void silence() {
    static const bool silent = std::freopen("/dev/null", "w", stdout) != nullptr;
    require(silent, "standard output can be silenced");
}

} // namespace saddlefit::fuzz
