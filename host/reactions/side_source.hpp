/// The two sides of reactions, wherever they are from.
#pragma once

#include "host/reactions/pairing.hpp"
#include "host/reactions/reaction_smiles.hpp"
#include "host/structures/stereo_marks.hpp"
#include "host/system/error.hpp"

#include <memory>
#include <string>
#include <vector>

namespace saddlefit::host {

/// Where the sides of reactions are. Of the first two `reactants` alone is given for reaction
/// SMILES: one of them itself, or a file.
struct SideFiles {
    std::string reactants;
    std::string products;
    std::vector<std::string> reactantMolecules{}; ///< files of the molecules of one reaction,
    std::vector<std::string> productMolecules{};  ///< in place of the other two
    std::string format{}; ///< of files without an extension, and of the standard input
};

/// Whether the reactants stand for both sides.
bool areReactionSmiles(const SideFiles &files);

/// Throws Error where more than one of the files is the standard input, which can be read once
/// only.
void requireOneStandardInput(const SideFiles &files, const std::string &otherFile);

/// A file, and how many records it has.
struct CountedFile {
    std::string path;
    std::size_t count = 0;
};

/// Throws Error unless both have as many records.
void requireSameCount(const CountedFile &file, const CountedFile &other);

/// What has to be done with the coordinates of a side.
enum class Placing {
    asGiven,
    together, ///< its molecules are right, but do not stand as they react
    built     ///< its molecules were embedded each for itself
};

struct Sides {
    MarkedStructure reactant, product;
    Placing reactantPlacing = Placing::asGiven, productPlacing = Placing::asGiven;
    OrderOfAtoms order = OrderOfAtoms::counts;
    std::vector<std::string> notes; ///< sentences for the person who asked
};

class SideSource {
public:
    virtual ~SideSource() = default;

    virtual std::size_t count() const = 0;

    /// Also of a reaction that cannot be read.
    virtual std::string title(std::size_t index) const = 0;

    /// Of the reactant; also of a reaction that cannot be read.
    virtual Place origin(std::size_t index) const = 0;

    /// @param withCoordinates whether molecules without any are to be embedded
    /// Throws Error where a side cannot be read. Sides whose format names no bonds have none yet.
    virtual Sides read(std::size_t index, bool withCoordinates) const = 0;

    /// What the messages call the reactants' file.
    virtual std::string name() const = 0;
};

/// Record i of two files, a line of reaction SMILES, or the molecules of both sides.
/// @param orderOfNumbers whether SMILES files have to list their atoms by map numbers, for
///                       coordinates that come from elsewhere
/// Throws Error when the files as such cannot be read or do not fit together.
std::unique_ptr<SideSource> openSides(const SideFiles &files, bool orderOfNumbers);

/// A side in memory.
struct GivenSide {
    std::vector<Structure> molecules;
    Placing placing = Placing::asGiven; ///< of these together; several have to be placed
};

/// One reaction, of structures in memory.
std::unique_ptr<SideSource> givenSides(const GivenSide &reactant, const GivenSide &product);

/// One reaction, as SMILES.
std::unique_ptr<SideSource> givenSides(const ReactionSmiles &reaction);

} // namespace saddlefit::host
