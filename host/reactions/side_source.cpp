#include "host/reactions/side_source.hpp"

#include "host/reactions/embedding.hpp"
#include "host/reactions/fragments.hpp"
#include "host/reactions/joined_molecules.hpp"
#include "host/structures/reader.hpp"
#include "host/structures/smiles.hpp"
#include "host/system/error.hpp"

#include <algorithm>
#include <utility>

namespace saddlefit::host {

namespace {

std::string recordName(std::size_t index) {
    return "record " + std::to_string(index + 1);
}

// ---- records of two files ---------------------------------------------------------------------

class RecordSides : public SideSource {
public:
    explicit RecordSides(const SideFiles &files)
        : path_(files.reactants),
          reactants_(files.reactants, BondSource::formatOnly, files.format),
          products_(files.products, BondSource::formatOnly, files.format) {
        requireSameCount({files.products, products_.count()}, {path_, reactants_.count()});
    }

    std::size_t count() const override { return reactants_.count(); }
    std::string name() const override { return path_; }

    std::string title(std::size_t index) const override {
        const auto record = reactants_.read(index);
        const auto *reactant = std::get_if<Structure>(&record);
        return reactant == nullptr ? recordName(index) : titleOf(*reactant, index);
    }

    Place origin(std::size_t index) const override {
        const auto record = reactants_.read(index);
        const auto *reactant = std::get_if<Structure>(&record);
        return reactant == nullptr ? Place{path_, index + 1} : reactant->origin;
    }

    Sides read(std::size_t index, bool) const override {
        Sides sides;
        sides.reactant.structure = structureOf(reactants_.read(index));
        sides.product.structure = structureOf(products_.read(index));
        return sides;
    }

private:
    std::string path_;
    RecordFile reactants_, products_;
};

// ---- SMILES -----------------------------------------------------------------------------------

void embedMolecules(MarkedStructure &side) {
    constexpr double gap = 4.0; // angstrom; the molecules stand in a row
    double edge = 0.0;
    for (const auto &fragment : fragmentsOf(side.structure)) {
        std::vector<int> places(side.structure.atoms.size(), -1);
        for (std::size_t i = 0; i < fragment.size(); ++i)
            places[static_cast<std::size_t>(fragment[i])] = static_cast<int>(i);
        const auto positions =
            embedded(fragmentIn(side.structure, fragment), renumbered(side.marks, places));
        const auto [low, high] =
            std::minmax_element(positions.begin(), positions.end(),
                                [](const Position &a, const Position &b) { return a.x < b.x; });
        for (std::size_t i = 0; i < fragment.size(); ++i) {
            auto &at = side.structure.atoms[static_cast<std::size_t>(fragment[i])].position;
            at = positions[i];
            at.x += edge - low->x;
        }
        edge += high->x - low->x + gap;
    }
}

class SmilesSides : public SideSource {
public:
    SmilesSides(std::string name, std::vector<ReactionSmiles> reactions)
        : name_(std::move(name)), reactions_(std::move(reactions)) {}

    std::size_t count() const override { return reactions_.size(); }
    std::string name() const override { return name_; }

    std::string title(std::size_t index) const override {
        const auto &title = reactions_[index].title;
        return title.empty() ? recordName(index) : title;
    }

    Place origin(std::size_t index) const override {
        return {name_, index + 1, reactions_[index].title};
    }

    Sides read(std::size_t index, bool withCoordinates) const override {
        const auto &[reactants, products, title, hasAgents] = reactions_[index];
        if (reactants.empty() || products.empty()) {
            throw Error("one side of the reaction SMILES is empty; write reactants>>products")
                .at(origin(index));
        }
        Sides sides;
        sides.reactant = moleculesInSmiles(reactants, origin(index));
        sides.product = moleculesInSmiles(products, origin(index));
        sides.reactant.structure.title = title;
        sides.order = OrderOfAtoms::meansNothing;
        sides.reactantPlacing = sides.productPlacing = Placing::built;
        if (hasAgents) {
            sides.notes.emplace_back("what stands between the arrows of the SMILES is left out");
        }
        if (!withCoordinates) return sides;
        embedMolecules(sides.reactant);
        embedMolecules(sides.product);
        return sides;
    }

private:
    std::string name_;
    std::vector<ReactionSmiles> reactions_;
};

/// A SMILES and its title per line.
std::vector<ReactionSmiles> pairedSmiles(const std::string &reactants,
                                         const std::string &products) {
    const auto before = smilesLines(reactants), after = smilesLines(products);
    requireSameCount({products, after.size()}, {reactants, before.size()});
    std::vector<ReactionSmiles> reactions;
    for (std::size_t i = 0; i < before.size(); ++i)
        reactions.push_back({before[i].smiles, after[i].smiles, before[i].title, false});
    return reactions;
}

// ---- one reaction -----------------------------------------------------------------------------

// One that stands alone keeps its fields, and its place in messages.
Structure wholeOf(const GivenSide &side) {
    if (side.molecules.size() == 1) return side.molecules.front();
    auto structure = joined(side.molecules);
    structure.origin.file = "structures";
    structure.origin.title = structure.title;
    return structure;
}

class OneReaction : public SideSource {
public:
    OneReaction(Structure reactant, Placing reactantPlacing, Structure product,
                Placing productPlacing)
        : reactant_(std::move(reactant)),
          product_(std::move(product)),
          reactantPlacing_(reactantPlacing),
          productPlacing_(productPlacing) {}

    std::size_t count() const override { return 1; }
    std::string name() const override { return reactant_.origin.file; }
    std::string title(std::size_t index) const override { return titleOf(reactant_, index); }
    Place origin(std::size_t) const override { return reactant_.origin; }

    Sides read(std::size_t, bool) const override {
        Sides sides;
        sides.reactant.structure = reactant_;
        sides.product.structure = product_;
        sides.reactantPlacing = reactantPlacing_;
        sides.productPlacing = productPlacing_;
        return sides;
    }

private:
    Structure reactant_, product_;
    Placing reactantPlacing_, productPlacing_;
};

} // namespace

bool areReactionSmiles(const SideFiles &files) {
    if (!files.products.empty() || files.reactants.empty()) return false;
    return isReactionSmiles(files.reactants) || isSmilesFile(files.reactants, files.format);
}

void requireOneStandardInput(const SideFiles &files, const std::string &otherFile) {
    std::vector<std::string> paths{files.reactants, files.products, otherFile};
    for (const auto *more : {&files.reactantMolecules, &files.productMolecules})
        paths.insert(paths.end(), more->begin(), more->end());
    if (std::count(paths.begin(), paths.end(), standardInput) < 2) return;
    throw Error("only one of the files can come in by the standard input; name the others")
        .at({standardInput});
}

void requireSameCount(const CountedFile &file, const CountedFile &other) {
    if (file.count == other.count) return;
    throw Error(file.path + " has " + std::to_string(file.count) + " records, but " + other.path +
                " has " + std::to_string(other.count) +
                "; record by record the files must hold the same reactions")
        .about(Place{file.path});
}

std::unique_ptr<SideSource> openSides(const SideFiles &files, bool orderOfNumbers) {
    if (!files.reactantMolecules.empty()) {
        return std::make_unique<OneReaction>(
            joinedMolecules(files.reactantMolecules, files.format), Placing::together,
            joinedMolecules(files.productMolecules, files.format), Placing::together);
    }
    if (isReactionSmiles(files.reactants)) return givenSides(reactionSmilesIn(files.reactants));
    if (files.products.empty()) {
        return std::make_unique<SmilesSides>(files.reactants, reactionSmilesOf(files.reactants));
    }
    const auto isSmiles = [&](const std::string &path) { return isSmilesFile(path, files.format); };
    if (isSmiles(files.reactants) && isSmiles(files.products) && !orderOfNumbers) {
        return std::make_unique<SmilesSides>(files.reactants,
                                             pairedSmiles(files.reactants, files.products));
    }
    return std::make_unique<RecordSides>(files);
}

std::unique_ptr<SideSource> givenSides(const GivenSide &reactant, const GivenSide &product) {
    return std::make_unique<OneReaction>(wholeOf(reactant), reactant.placing, wholeOf(product),
                                         product.placing);
}

std::unique_ptr<SideSource> givenSides(const ReactionSmiles &reaction) {
    return std::make_unique<SmilesSides>("the SMILES", std::vector{reaction});
}

} // namespace saddlefit::host
