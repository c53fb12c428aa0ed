#include "host/search/surroundings.hpp"

#include "host/reactions/bond_paths.hpp"
#include "host/search/bond_steps.hpp"

#include <algorithm>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <span>

namespace saddlefit::host {

namespace {

using Word = std::uint64_t;

constexpr std::size_t mostChanges = 24; // and atoms of a centre
constexpr int refinements = 3;          // of the atoms of the centre by what they are to each other

/// The finaliser of SplitMix64 (Steele, Lea, Flood, OOPSLA 2014), word after word.
Word hashOf(std::span<const Word> words) {
    Word hash = words.size();
    for (const Word word : words) {
        hash += word + 0x9e3779b97f4a7c15U;
        hash = (hash ^ (hash >> 30U)) * 0xbf58476d1ce4e5b9U;
        hash = (hash ^ (hash >> 27U)) * 0x94d049bb133111ebU;
        hash ^= hash >> 31U;
    }
    return hash;
}

Word hashOf(std::initializer_list<Word> words) {
    return hashOf(std::span(words.begin(), words.size()));
}

/// Of things that have no order.
Word hashOfSet(std::vector<Word> words) {
    std::sort(words.begin(), words.end());
    return hashOf(words);
}

Word word(int value) {
    return static_cast<Word>(static_cast<std::int64_t>(value));
}

/// A bond of the transition state: `change` is below 0 for one that breaks or loses order.
struct Link {
    int type = 0; // 0 for all bonds that are made or broken
    int change = 0;
    bool ends = false;
};

enum class Direction { forward, backward };

/// A reaction read in one direction.
class Reading {
public:
    Reading(const Molecule &mol, const std::map<AtomPair, Link> &links,
            const std::vector<int> &centre, Direction direction);

    /// See changingBondsOf().
    SurroundingsKeys keysOf(const AtomPair &atoms, const Link &link, const WantedKeys *wanted);

private:
    Word keyOf(std::size_t level, Word coarser, const AtomPair &atoms, const Link &link);
    int changeOf(const Link &link) const {
        return direction_ == Direction::forward ? link.change : -link.change;
    }
    Word element(int atom) const {
        return word(mol_.atoms[static_cast<std::size_t>(atom)].element);
    }
    bool isElementary() const { return centre_.size() <= mostChanges && changes_ <= mostChanges; }
    Word endOf(int atom) const;
    void findNeighbours();
    void findBonded();
    void refineCentre();
    Word relation(std::size_t i, std::size_t k) const;
    Word colourOf(int atom) const;
    Word shellOf(int atom, int depth) const;

    struct Neighbour {
        int atom;
        Word label;
    };

    const Molecule &mol_;
    const std::map<AtomPair, Link> &links_;
    const std::vector<int> &centre_;
    Direction direction_;
    std::size_t changes_ = 0;
    std::map<AtomPair, int> broken_; // and made: -1 and 1
    // The rest is found when a key asks for it; empty before.
    Neighbours before_, after_;
    std::vector<std::vector<int>> pathsBefore_, pathsAfter_; // from the atoms of the centre
    std::vector<Word> colours_;                              // of the atoms of the centre
    std::optional<Word> centreHash_;
    std::vector<std::vector<Neighbour>> bonded_;
};

Reading::Reading(const Molecule &mol, const std::map<AtomPair, Link> &links,
                 const std::vector<int> &centre, Direction direction)
    : mol_(mol), links_(links), centre_(centre), direction_(direction) {
    for (const auto &[atoms, link] : links) {
        const int change = changeOf(link);
        if (change != 0) ++changes_;
        if (link.ends) broken_[atoms] = change < 0 ? -1 : 1;
    }
}

void Reading::findNeighbours() {
    if (!after_.empty()) return;
    std::vector<AtomPair> before, after;
    for (const auto &[atoms, link] : links_) {
        const int change = changeOf(link);
        if (!link.ends || change < 0) before.push_back(atoms);
        if (!link.ends || change > 0) after.push_back(atoms);
    }
    before_ = neighboursBy(before, static_cast<std::size_t>(mol_.atomCount));
    after_ = neighboursBy(after, static_cast<std::size_t>(mol_.atomCount));
}

void Reading::findBonded() {
    if (!bonded_.empty()) return;
    bonded_.resize(static_cast<std::size_t>(mol_.atomCount));
    for (const auto &[atoms, link] : links_) {
        const Word label = hashOf({word(link.type), word(changeOf(link)), link.ends ? 1U : 0U});
        bonded_[static_cast<std::size_t>(atoms.first)].push_back({atoms.second, label});
        bonded_[static_cast<std::size_t>(atoms.second)].push_back({atoms.first, label});
    }
}

/// Its element, and how many bonds break and form there.
Word Reading::endOf(int atom) const {
    Word breaks = 0, forms = 0;
    for (const auto &[atoms, sign] : broken_) {
        if (atoms.first != atom && atoms.second != atom) continue;
        ++(sign < 0 ? breaks : forms);
    }
    return hashOf({element(atom), breaks, forms});
}

Word Reading::relation(std::size_t i, std::size_t k) const {
    const auto found = broken_.find(orderedPair(centre_[i], centre_[k]));
    const auto atom = static_cast<std::size_t>(centre_[k]);
    return hashOf({word(found == broken_.end() ? 0 : found->second), word(pathsBefore_[i][atom]),
                   word(pathsAfter_[i][atom])});
}

/// Atoms take on what the others are to them, again and again, as in Morgan's numbering (J. Chem.
/// Doc. 5, 107 (1965)).
void Reading::refineCentre() {
    if (centreHash_) return;
    for (const int atom : centre_) {
        pathsBefore_.push_back(pathsFrom(atom, before_));
        pathsAfter_.push_back(pathsFrom(atom, after_));
        colours_.push_back(element(atom));
    }
    for (int round = 0; round < refinements; ++round) {
        std::vector<Word> next;
        for (std::size_t i = 0; i < centre_.size(); ++i) {
            std::vector<Word> others;
            for (std::size_t k = 0; k < centre_.size(); ++k)
                if (k != i) others.push_back(hashOf({relation(i, k), colours_[k]}));
            next.push_back(hashOf({colours_[i], hashOfSet(others)}));
        }
        colours_ = next;
    }
    centreHash_ = hashOfSet(colours_);
}

/// In the centre; a bond that keeps an order may have ends outside of it.
Word Reading::colourOf(int atom) const {
    const auto found = std::lower_bound(centre_.begin(), centre_.end(), atom);
    if (found == centre_.end() || *found != atom) return element(atom);
    return colours_[static_cast<std::size_t>(found - centre_.begin())];
}

Word Reading::shellOf(int atom, int depth) const {
    if (depth == 0) return element(atom);
    std::vector<Word> bonded;
    for (const auto &[neighbour, label] : bonded_[static_cast<std::size_t>(atom)])
        bonded.push_back(hashOf({label, shellOf(neighbour, depth - 1)}));
    return hashOf({element(atom), hashOfSet(bonded)});
}

Word Reading::keyOf(std::size_t level, Word coarser, const AtomPair &atoms, const Link &link) {
    const auto [a, b] = atoms;
    if (level == 1) {
        findNeighbours();
        const int path = pathsFrom(a, after_)[static_cast<std::size_t>(b)];
        return hashOf({coarser, hashOfSet({endOf(a), endOf(b)}), word(path), level});
    }
    if (level == 2) {
        refineCentre();
        const Word shown = hashOf({word(link.type), word(changeOf(link))});
        return hashOf({coarser, *centreHash_, hashOfSet({colourOf(a), colourOf(b)}), shown, level});
    }
    findBonded();
    const int depth = static_cast<int>(level) - 2;
    const auto end = [&](int atom) { return hashOf({colourOf(atom), shellOf(atom, depth)}); };
    return hashOf({coarser, hashOfSet({end(a), end(b)}), level});
}

SurroundingsKeys Reading::keysOf(const AtomPair &atoms, const Link &link,
                                 const WantedKeys *wanted) {
    const auto [a, b] = atoms;
    SurroundingsKeys keys{};
    keys.fill(hashOf({hashOfSet({element(a), element(b)}), link.ends ? 1U : 0U}));
    for (std::size_t level = 1; level < keys.size() && isElementary(); ++level) {
        const Word coarser = keys[level - 1];
        if (wanted != nullptr && !wanted->contains(coarser)) break;
        std::fill(keys.begin() + static_cast<std::ptrdiff_t>(level), keys.end(),
                  keyOf(level, coarser, atoms, link));
    }
    return keys;
}

bool isWithin(const Molecule &mol, const AtomPair &atoms) {
    return atoms.first >= 0 && atoms.second < mol.atomCount && atoms.first != atoms.second;
}

/// Bonds of damaged records that lead nowhere are left out.
std::map<AtomPair, Link> linksOf(const Molecule &mol) {
    const auto steps = stepsOf({mol.transitions, static_cast<std::size_t>(mol.transitionCount)});
    std::map<AtomPair, Link> links;
    for (int i = 0; i < mol.bondCount; ++i) {
        const Bond &bond = *mol.bonds[i];
        const auto atoms = orderedPair(bond.atom1, bond.atom2);
        if (!isWithin(mol, atoms)) continue;
        const auto found = steps.find(atoms);
        if (found == steps.end()) {
            links[atoms] = {bond.type, 0, false};
            continue;
        }
        const auto &[falls, rises] = found->second;
        const bool ends = isMadeOrBroken(found->second, bond.type);
        links[atoms] = {ends ? 0 : bond.type, falls > 0 ? -falls : rises, ends};
    }
    return links;
}

} // namespace

std::vector<ChangingBond> changingBondsOf(const Molecule &transitionState,
                                          const WantedKeys *wanted) {
    const auto links = linksOf(transitionState);
    std::set<int> atoms;
    for (const auto &[pair, link] : links)
        if (link.ends && link.change != 0) atoms.insert({pair.first, pair.second});
    const std::vector<int> centre(atoms.begin(), atoms.end());
    Reading forward(transitionState, links, centre, Direction::forward);
    Reading backward(transitionState, links, centre, Direction::backward);
    std::vector<ChangingBond> bonds;
    for (const auto &[pair, link] : links) {
        if (link.change == 0) continue;
        auto &reading = link.change < 0 ? forward : backward;
        bonds.push_back({pair, link.ends, reading.keysOf(pair, link, wanted)});
    }
    return bonds;
}

} // namespace saddlefit::host
