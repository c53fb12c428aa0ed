/// What is told when something is wrong: what it is, where it is, what to do.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace saddlefit::host {

enum class ErrorKind {
    input,     ///< a file, a record or a value that was given is not what it must be
    refused,   ///< what is asked for would destroy something, or contradicts itself
    damage,    ///< the bytes of a database are not what they must be
    noProgram, ///< a program or library beside this one is not there, or is not the right one
    program,   ///< such a program was asked and has failed
    limit,     ///< more than there is time or room for, in a format or by what was allowed
    system     ///< the machine refuses: rights, disk, memory, processes
};

/// What helps beside what the message says, for each host to put into the words of its own users.
enum class Remedy {
    none,
    charge,              ///< give the charge
    spin,                ///< give the number of unpaired electrons
    electrons,           ///< correct the charge or the number of unpaired electrons
    chargeOrSpin,        ///< give the charge, or say that it is a radical
    bondsOfLibrary,      ///< let the library find the bonds
    inputFormat,         ///< name the format of the input
    harmonisedOrders,    ///< compare the drawings harmonised
    noRelaxation,        ///< leave the structure unrelaxed
    otherRelaxation,     ///< relax by xtb, or not at all
    makeDatabase,        ///< store transition states in a new database
    makeOrCheckDatabase, ///< that, or look for the damage
    orderOfAtoms,        ///< let the atoms correspond by their order
    listDatabase,        ///< list the records that there are
    salvageDatabase      ///< copy what can be read of a damaged database
};

/// Where something stands.
struct Place {
    std::string file;
    std::optional<std::size_t> record{}; ///< from 1, and from 0 in a database, as its positions are
    std::string title{};                 ///< of the record

    /// "reactants.sdf, record 3 (ethene)"
    std::string text() const {
        std::string where = file;
        if (record) where += ", record " + std::to_string(*record);
        return title.empty() ? where : where + " (" + title + ")";
    }
};

/// Thrown with a message that is complete but for the remedy, if there is one.
class Error : public std::runtime_error {
public:
    explicit Error(const std::string &message) : Error(ErrorKind::input, message) {}
    Error(ErrorKind kind, const std::string &message) : runtime_error(message), kind_(kind) {}

    /// The same at a place, which comes to stand in front of the message.
    Error at(const Place &place) const {
        Error placed(*this, place.text() + ": " + what());
        return placed.about(place);
    }

    /// The same with facts that the message tells already; a place that is known stays.
    Error about(const Place &place) const {
        Error placed = *this;
        if (place_.file.empty()) placed.place_ = place;
        return placed;
    }
    Error about(std::vector<int> atoms) const {
        Error other = *this;
        other.atoms_ = std::move(atoms);
        return other;
    }
    Error with(Remedy remedy) const {
        Error other = *this;
        other.remedy_ = remedy;
        return other;
    }

    ErrorKind kind() const { return kind_; }
    const Place &place() const { return place_; } ///< without a file where none is known
    const std::vector<int> &atoms() const {
        return atoms_;
    } ///< from 0; of a reaction as its reactant has them
    Remedy remedy() const { return remedy_; }

private:
    Error(const Error &other, const std::string &message)
        : runtime_error(message),
          kind_(other.kind_),
          place_(other.place_),
          atoms_(other.atoms_),
          remedy_(other.remedy_) {}

    ErrorKind kind_;
    Place place_;
    std::vector<int> atoms_;
    Remedy remedy_ = Remedy::none;
};

/// Said beside a result.
struct Warning {
    std::string text; ///< a sentence, complete but for the remedy
    Remedy remedy = Remedy::none;
};

} // namespace saddlefit::host
