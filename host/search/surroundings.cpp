#include "host/search/surroundings.hpp"

#include "host/reactions/bond_paths.hpp"
#include "host/search/bond_steps.hpp"

#include <algorithm>
#include <initializer_list>
#include <map>
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

    SurroundingsKeys keysOf(const AtomPair &atoms, const Link &link);

private:
    int changeOf(const Link &link) const {
        return direction_ == Direction::forward ? link.change : -link.change;
    }
    Word element(int atom) const {
        return word(mol_.atoms[static_cast<std::size_t>(atom)].element);
    }
    bool isElementary() const { return centre_.size() <= mostChanges && changes_ <= mostChanges; }
    Word endOf(int atom) const;
    int pathAfter(const AtomPair &atoms) const;
    void refineCentre();
    Word relation(std::size_t i, std::size_t k) const;
    Word colourOf(int atom) const;
    Word shellOf(int atom, int depth) const;

    struct Neighbour {
        int atom;
        Word label;
    };

    const Molecule &mol_;
    const std::vector<int> &centre_;
    Direction direction_;
    std::size_t changes_ = 0;
    std::map<AtomPair, int> broken_; // and made: -1 and 1
    std::vector<std::vector<Neighbour>> bonded_;
    Neighbours before_, after_;
    std::vector<std::vector<int>> pathsBefore_, pathsAfter_; // from the atoms of the centre
    std::vector<Word> colours_;                              // of the atoms of the centre
    Word centreHash_ = 0;
};

Reading::Reading(const Molecule &mol, const std::map<AtomPair, Link> &links,
                 const std::vector<int> &centre, Direction direction)
    : mol_(mol), centre_(centre), direction_(direction) {
    const auto count = static_cast<std::size_t>(mol.atomCount);
    bonded_.resize(count);
    std::vector<AtomPair> before, after;
    for (const auto &[atoms, link] : links) {
        const int change = changeOf(link);
        const Word label = hashOf({word(link.type), word(change), link.ends ? 1U : 0U});
        bonded_[static_cast<std::size_t>(atoms.first)].push_back({atoms.second, label});
        bonded_[static_cast<std::size_t>(atoms.second)].push_back({atoms.first, label});
        if (change != 0) ++changes_;
        if (link.ends) broken_[atoms] = change < 0 ? -1 : 1;
        if (!link.ends || change < 0) before.push_back(atoms);
        if (!link.ends || change > 0) after.push_back(atoms);
    }
    before_ = neighboursBy(before, count);
    after_ = neighboursBy(after, count);
    if (isElementary()) refineCentre();
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

int Reading::pathAfter(const AtomPair &atoms) const {
    return pathsFrom(atoms.first, after_)[static_cast<std::size_t>(atoms.second)];
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

SurroundingsKeys Reading::keysOf(const AtomPair &atoms, const Link &link) {
    const auto [a, b] = atoms;
    SurroundingsKeys keys{};
    keys[0] = hashOf({hashOfSet({element(a), element(b)}), link.ends ? 1U : 0U});
    keys.fill(keys[0]);
    if (!isElementary()) return keys;
    keys[1] = hashOf({keys[0], hashOfSet({endOf(a), endOf(b)}), word(pathAfter(atoms)), 1U});
    const Word shown = hashOf({word(link.type), word(changeOf(link))});
    keys[2] = hashOf({keys[1], centreHash_, hashOfSet({colourOf(a), colourOf(b)}), shown, 2U});
    for (const std::size_t level : {3U, 4U}) {
        const int depth = static_cast<int>(level) - 2;
        const auto end = [&](int atom) { return hashOf({colourOf(atom), shellOf(atom, depth)}); };
        keys[level] = hashOf({keys[level - 1], hashOfSet({end(a), end(b)}), level});
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

std::vector<ChangingBond> changingBondsOf(const Molecule &transitionState) {
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
        bonds.push_back({pair, link.ends, reading.keysOf(pair, link)});
    }
    return bonds;
}

} // namespace saddlefit::host
