/// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// What saddlefit and the program that holds Open Babel say to each other.
///
/// The program greets with a frame `hello`. Then each request is one frame, and its reply none or
/// more frames `part` and one frame `done` or `failed`. A frame is a header and a body, both in the
/// byte order of the machine, for the two sides always share one.
namespace saddlefit::babel {

constexpr std::uint32_t protocolMagic = 0x4C424653; // "SFBL"
constexpr std::uint32_t protocolVersion = 2;
constexpr std::uint64_t largestBody = std::uint64_t{1} << 31;

enum class FrameKind : std::uint32_t {
    hello,
    part,
    done,
    failed,
    listFormats,
    read,
    write,
    perceiveBonds,
    parseSmiles,
    writeSmiles,
    relax,
    match,
    embed
};

struct FrameHeader {
    std::uint32_t magic = protocolMagic;
    std::uint32_t kind = 0;
    std::uint64_t size = 0; ///< of the body in bytes
};

/// Thrown for bytes that are no message of this protocol.
struct ProtocolError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Throws ProtocolError unless a frame of a known kind and bearable size can follow.
inline void checkHeader(const FrameHeader &header) {
    if (header.magic != protocolMagic) throw ProtocolError("the bytes begin no frame");
    if (header.kind > static_cast<std::uint32_t>(FrameKind::embed)) {
        throw ProtocolError("frame of unknown kind " + std::to_string(header.kind));
    }
    if (header.size > largestBody) throw ProtocolError("frame beyond 2 GiB");
}

// ---- bodies -----------------------------------------------------------------------------------

/// A record names its members once, in `fields`, for both directions.
class Encoder {
public:
    template <class... Values> void operator()(const Values &...values) { (put(values), ...); }
    const std::string &bytes() const { return bytes_; }

private:
    template <class Value> void put(const Value &value) {
        if constexpr (std::is_class_v<Value>) {
            Value::fields(value, *this);
        } else {
            static_assert(std::is_arithmetic_v<Value> || std::is_enum_v<Value>);
            bytes_.append(reinterpret_cast<const char *>(&value), sizeof value);
        }
    }
    void put(const std::string &text) {
        put(std::uint64_t{text.size()});
        bytes_ += text;
    }
    template <class Value> void put(const std::vector<Value> &values) {
        put(std::uint64_t{values.size()});
        for (const auto &value : values)
            put(value);
    }
    template <class Value, std::size_t count> void put(const std::array<Value, count> &values) {
        for (const auto &value : values)
            put(value);
    }
    template <class A, class B> void put(const std::pair<A, B> &values) {
        put(values.first);
        put(values.second);
    }

    std::string bytes_;
};

/// Takes what an Encoder put. Throws ProtocolError where the bytes end too early; a count that they
/// cannot hold costs no memory.
class Decoder {
public:
    explicit Decoder(std::string_view bytes) : rest_(bytes) {}

    template <class... Values> void operator()(Values &...values) { (take(values), ...); }

    /// Throws ProtocolError if bytes are left.
    void finish() const {
        if (!rest_.empty()) throw ProtocolError("bytes are left behind the last value");
    }

private:
    std::string_view next(std::uint64_t count) {
        if (count > rest_.size()) throw ProtocolError("the bytes end within a value");
        const auto bytes = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return bytes;
    }
    template <class Value> void take(Value &value) {
        if constexpr (std::is_class_v<Value>) {
            Value::fields(value, *this);
        } else {
            static_assert(std::is_arithmetic_v<Value> || std::is_enum_v<Value>);
            std::memcpy(&value, next(sizeof value).data(), sizeof value);
        }
    }
    void take(bool &value) { value = next(sizeof value).front() != 0; }
    void take(std::string &text) {
        std::uint64_t count = 0;
        take(count);
        text = next(count);
    }
    template <class Value> void take(std::vector<Value> &values) {
        std::uint64_t count = 0;
        take(count);
        if (count > rest_.size()) throw ProtocolError("a list is longer than the bytes left");
        values.clear();
        for (; count > 0; --count)
            take(values.emplace_back());
    }
    template <class Value, std::size_t count> void take(std::array<Value, count> &values) {
        for (auto &value : values)
            take(value);
    }
    template <class A, class B> void take(std::pair<A, B> &values) {
        take(values.first);
        take(values.second);
    }

    std::string_view rest_;
};

template <class Message> std::string encoded(const Message &message) {
    Encoder encoder;
    encoder(message);
    return encoder.bytes();
}

template <class Message> Message decoded(std::string_view bytes) {
    Message message;
    Decoder decoder(bytes);
    decoder(message);
    decoder.finish();
    return message;
}

// ---- molecules --------------------------------------------------------------------------------

struct Atom {
    std::int32_t element = 0; ///< 0: none that is known
    std::int32_t charge = 0;
    std::int32_t isotope = 0;         ///< mass number; 0: not given
    std::int32_t spin = 0;            ///< multiplicity; 0: not given
    std::int32_t mapNumber = 0;       ///< 0: none
    std::int32_t hydrogens = 0;       ///< that belong to it and are no atoms
    std::array<double, 3> position{}; ///< angstrom

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.element, self.charge, self.isotope, self.spin, self.mapNumber, self.hydrogens,
                self.position);
    }
};

/// Atoms count from 0.
struct Bond {
    std::int32_t atom1 = 0;
    std::int32_t atom2 = 0;
    std::int32_t order = 1; ///< in a Kekule form
    bool aromatic = false;

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.atom1, self.atom2, self.order, self.aromatic);
    }
};

/// Seen from `from`, the others are passed clockwise or not. -1 stands for a hydrogen that is no
/// atom, or a lone pair.
struct TetrahedralCentre {
    std::int32_t centre = 0;
    std::int32_t from = -1;
    std::array<std::int32_t, 3> others{};
    bool clockwise = true;

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.centre, self.from, self.others, self.clockwise);
    }
};

/// `around` goes round the double bond: two neighbours of `atom1`, then those of `atom2`, the first
/// and the last on the same side.
struct DoubleBond {
    std::int32_t atom1 = 0;
    std::int32_t atom2 = 0;
    std::array<std::int32_t, 4> around{};

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.atom1, self.atom2, self.around);
    }
};

struct Molecule {
    std::string title;
    std::vector<std::pair<std::string, std::string>> dataFields;
    std::vector<Atom> atoms;
    std::vector<Bond> bonds;
    /// The bonds of each smallest ring that is aromatic all round; of molecules that were read.
    std::vector<std::vector<std::pair<std::int32_t, std::int32_t>>> aromaticRings;
    std::vector<TetrahedralCentre> centres;
    std::vector<DoubleBond> doubleBonds;
    std::int32_t dimension = 0; ///< of the coordinates: 0 (none), 2 or 3
    bool tellsCharge = false;   ///< of molecules that were read: their format has one for the whole
    std::int32_t charge = 0;    ///< which is this
    std::int32_t spin = 0;      ///< multiplicity of the whole; 0: not given

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.title, self.dataFields, self.atoms, self.bonds, self.aromaticRings,
                self.centres, self.doubleBonds, self.dimension, self.tellsCharge, self.charge,
                self.spin);
    }
};

// ---- messages ---------------------------------------------------------------------------------

struct Hello {
    std::uint32_t version = protocolVersion;
    std::string openBabel; ///< its version

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.version, self.openBabel);
    }
};

enum class FailureKind : std::uint32_t {
    unknownFormat,
    compressedFile,
    notReadable,
    notWritable,
    brokenInput,
    noForceField,
    noParameters,
    noStructure,
    outOfMemory,
    notUnderstood
};

struct Failure {
    FailureKind kind = FailureKind::notUnderstood;
    std::string text;  ///< what Open Babel complains of
    std::string title; ///< of the record

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.kind, self.text, self.title);
    }
};

/// In front of each request's own members.
struct Limits {
    std::uint64_t milliseconds = 0; ///< to the next frame of the reply
    std::uint64_t memory = 0;       ///< bytes of address space
    std::uint64_t stack = 0;        ///< bytes

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.milliseconds, self.memory, self.stack);
    }
};

struct Nothing {
    template <class Self, class Archive> static void fields(Self &, Archive &) {}
};

/// Reply: a `part` for each Format.
struct ListFormats : Nothing {};

struct Format {
    std::string id;
    std::string description;
    bool readable = false;
    bool writable = false;

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.id, self.description, self.readable, self.writable);
    }
};

/// Reply: a `part` for each Molecule, `done` with ReadEnd; or `failed` with the record that cannot
/// be read, behind those that can.
struct Read {
    std::string file; ///< its name: the extension tells the format
    std::string bytes;
    bool wantsBonds = true; ///< false: neither bonds nor rings are given
    std::string format{};   ///< its id, whatever the file is called; empty: by the extension

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.file, self.bytes, self.wantsBonds, self.format);
    }
};

struct ReadEnd {
    bool hasBonds = false; ///< they were wanted, and the format names bonds
    bool isSmiles = false;

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.hasBonds, self.isSmiles);
    }
};

/// Reply: the bytes in `done`.
struct Write {
    std::string format; ///< its id
    std::vector<Molecule> molecules;

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.format, self.molecules);
    }
};

/// Bonds that the molecule has are replaced, and so are its formal charges. They add up to
/// `charge`, or are all 0 where no such drawing was found. Reply: Molecule in `done`.
struct PerceiveBonds {
    Molecule molecule;
    std::int32_t charge = 0;

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.molecule, self.charge);
    }
};

/// Reply: empty `part`s between the fragments that are embedded, Molecule in `done`.
struct ParseSmiles {
    std::string smiles;
    bool addsHydrogens = true;
    bool embeds = false; ///< with coordinates in three dimensions

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.smiles, self.addsHydrogens, self.embeds);
    }
};

/// Reply: the canonical SMILES in `done`.
struct WriteSmiles {
    Molecule molecule;
    bool keepsMapNumbers = false;

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.molecule, self.keepsMapNumbers);
    }
};

/// Two, three or four atoms whose distance (angstrom), angle or dihedral (degrees) is held; those
/// behind them are -1.
struct Held {
    std::array<std::int32_t, 4> atoms{-1, -1, -1, -1};
    double value = 0.0;

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.atoms, self.value);
    }
};

/// Conjugate gradients. Reply: vector of positions in `done`.
struct Relax {
    std::string forceField = "UFF";
    Molecule molecule;
    std::vector<std::int32_t> fixed;
    std::vector<Held> held;
    double holdFactor = 0.0; ///< of `held` in the units of the force field
    std::int32_t mostSteps = 0;
    double energyLimit = 0.0; ///< change per step at which it has converged

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.forceField, self.molecule, self.fixed, self.held, self.holdFactor,
                self.mostSteps, self.energyLimit);
    }
};

using Positions = std::vector<std::array<double, 3>>;

/// Reply: vector of Match in `done`, each set of atoms once.
struct MatchPattern {
    Molecule molecule;
    std::string smarts; ///< SMARTS; a SMILES is one
    std::int32_t mostMatches = 0;

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.molecule, self.smarts, self.mostMatches);
    }
};

using Match = std::vector<std::int32_t>; ///< the molecule's atom for each of the pattern

/// Coordinates for a molecule without any, by its bonds and stereo marks. Reply: empty `part`s
/// between the fragments, vector of positions in `done`.
struct Embed {
    Molecule molecule;

    template <class Self, class Archive> static void fields(Self &self, Archive &archive) {
        archive(self.molecule);
    }
};

} // namespace saddlefit::babel
