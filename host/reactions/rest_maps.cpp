#include "host/reactions/rest_maps.hpp"

#include <algorithm>
#include <unordered_map>

namespace saddlefit::host {

namespace {

enum BondLabel : std::uint8_t { leftOut = 0, kept = 1, broken = 2, formed = 3 };

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

void setApart(Colour &colour) {
    colour = scattered(colour ^ 0x5bd1e9955bd1e995u);
}

// The first atom whose colour others have too; -1 where all colours differ.
int firstAmbiguous(const std::vector<Colour> &colours) {
    std::unordered_map<Colour, int> counts;
    for (const auto colour : colours)
        ++counts[colour];
    const auto found = std::find_if(colours.begin(), colours.end(),
                                    [&](Colour colour) { return counts[colour] > 1; });
    return found == colours.end() ? -1 : static_cast<int>(found - colours.begin());
}

} // namespace

void RestMaps::add(std::span<const std::size_t> brokenBonds,
                   std::span<const std::size_t> formedBonds) {
    labels1_.assign(before_.graph.bonds().size(), kept);
    labels2_.assign(after_.graph.bonds().size(), kept);
    markedLabels_ = labels1_;
    for (const auto bond : brokenBonds) {
        labels1_[bond] = leftOut;
        markedLabels_[bond] = broken;
    }
    formed_.clear();
    std::set<int> ends;
    for (const auto bond : formedBonds) {
        labels2_[bond] = leftOut;
        formed_.push_back(after_.graph.bonds()[bond]);
        ends.insert({formed_.back().first, formed_.back().second});
    }
    ends_.assign(ends.begin(), ends.end());
    Stage stage{before_.colours, after_.colours, before_.profiles};
    before_.graph.refine(labels1_, stage.rest1);
    after_.graph.refine(labels2_, stage.rest2);
    before_.graph.refine(markedLabels_, stage.marked);
    if (sumOf(stage.rest1) == sumOf(stage.rest2)) place(0, stage);
}

// False if the rests cannot be the same graph with these two atoms in one place.
bool RestMaps::identify(Stage &stage, int atom1, int atom2, bool marking) const {
    deadline_.check();
    setApart(stage.rest1[index(atom1)]);
    setApart(stage.rest2[index(atom2)]);
    before_.graph.refine(labels1_, stage.rest1);
    after_.graph.refine(labels2_, stage.rest2);
    if (marking) {
        setApart(stage.marked[index(atom1)]);
        before_.graph.refine(markedLabels_, stage.marked);
    }
    return sumOf(stage.rest1) == sumOf(stage.rest2);
}

// A reaction is known when it is known where the formed bonds end. Of atoms that so far are in the
// same place one is enough.
void RestMaps::place(std::size_t end, const Stage &stage) {
    if (end == ends_.size()) {
        const auto map = completed(stage);
        if (map && keys_.insert(reactionKey(*map)).second) maps_.push_back(*map);
        return;
    }
    std::set<Colour> tried;
    for (int atom = 0; index(atom) < stage.rest1.size(); ++atom) {
        if (stage.rest1[index(atom)] != stage.rest2[index(ends_[end])]) continue;
        if (!tried.insert(stage.marked[index(atom)]).second) continue;
        auto next = stage;
        if (identify(next, atom, ends_[end], true)) place(end + 1, next);
    }
}

std::optional<std::vector<int>> RestMaps::completed(const Stage &stage) const {
    const int atom = firstAmbiguous(stage.rest1);
    if (atom < 0) return discreteMap(stage);
    for (int other = 0; index(other) < stage.rest2.size(); ++other) {
        if (stage.rest2[index(other)] != stage.rest1[index(atom)]) continue;
        auto next = stage;
        if (!identify(next, atom, other, false)) continue;
        if (auto map = completed(next)) return map;
    }
    return std::nullopt;
}

std::optional<std::vector<int>> RestMaps::discreteMap(const Stage &stage) const {
    std::unordered_map<Colour, int> atomAfter;
    for (int atom = 0; index(atom) < stage.rest2.size(); ++atom)
        atomAfter[stage.rest2[index(atom)]] = atom;
    std::vector<int> map;
    for (const auto colour : stage.rest1) {
        const auto found = atomAfter.find(colour);
        if (found == atomAfter.end()) return std::nullopt;
        map.push_back(found->second);
    }
    const auto &bonds = before_.graph.bonds();
    for (std::size_t i = 0; i < bonds.size(); ++i) {
        const auto &[a, b] = bonds[i];
        if (labels1_[i] != leftOut && !after_.graph.hasBond(map[index(a)], map[index(b)]))
            return std::nullopt;
    }
    return map;
}

Colour RestMaps::reactionKey(const std::vector<int> &map) const {
    std::vector<int> atomBefore(map.size());
    std::vector<Colour> colours;
    for (std::size_t i = 0; i < map.size(); ++i) {
        atomBefore[index(map[i])] = static_cast<int>(i);
        colours.push_back(scattered(before_.profiles[i]) + after_.profiles[index(map[i])]);
    }
    std::vector<StructureBond> bonds;
    for (std::size_t i = 0; i < markedLabels_.size(); ++i) {
        const auto &[a, b] = before_.graph.bonds()[i];
        bonds.push_back({a, b, markedLabels_[i]});
    }
    for (const auto &[a, b] : formed_)
        bonds.push_back({atomBefore[index(a)], atomBefore[index(b)], formed});
    const BondGraph both(map.size(), bonds);
    std::vector<std::uint8_t> labels(both.bonds().size());
    for (const auto &bond : bonds) {
        const auto found = std::lower_bound(both.bonds().begin(), both.bonds().end(),
                                            orderedPair(bond.atom1, bond.atom2));
        labels[static_cast<std::size_t>(found - both.bonds().begin())] =
            static_cast<std::uint8_t>(bond.type);
    }
    both.refine(labels, colours);
    return sumOf(colours);
}

} // namespace saddlefit::host
