#include "saddlefit/reaction.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace saddlefit;

constexpr int none = -1;

/// The elements of a bond that falls or rises, the smaller first.
using ElementPair = std::pair<int, int>;

ElementPair elementPair(const Molecule &mol, int a, int b) {
    if (!hasAtom(mol, a) || !hasAtom(mol, b)) return {none, none};
    return std::minmax({mol.atoms[a].element, mol.atoms[b].element});
}

/// The pairs of one kind of half, sorted.
std::vector<ElementPair> sortedPairs(const Molecule &mol, int Transition::*a, int Transition::*b) {
    std::vector<ElementPair> pairs;
    for (const Transition &transition : transitionsOf(mol))
        pairs.push_back(elementPair(mol, transition.*a, transition.*b));
    std::ranges::sort(pairs);
    return pairs;
}

int *newTransitionCode(const Molecule &mol) {
    std::vector<ElementPair> first = sortedPairs(mol, &Transition::breakA, &Transition::breakB);
    std::vector<ElementPair> second = sortedPairs(mol, &Transition::formA, &Transition::formB);
    if (second < first) std::swap(first, second);
    first.insert(first.end(), second.begin(), second.end());

    int *code = allocateArray<int>(2 * first.size() + 1);
    if (!code) return nullptr;
    int *end = code;
    for (const auto &[smaller, larger] : first)
        for (const int element : {smaller, larger})
            if (element != none) *end++ = element;
    *end = 0;
    return code;
}

/// Takes one word after another off a text.
class Words {
public:
    explicit Words(std::string_view text) : rest_(text) {}
    /// The next word; empty at the end.
    std::string_view next() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(separators), rest_.size()));
        const std::string_view word = rest_.substr(0, rest_.find_first_of(separators));
        rest_.remove_prefix(word.size());
        return word;
    }

private:
    static constexpr std::string_view separators = "\t ";
    std::string_view rest_;
};

int atomLabelled(const Molecule &mol, std::string_view label) {
    const auto atoms = atomsOf(mol);
    const auto found = std::ranges::find_if(
        atoms, [&](const Atom &atom) { return atom.label && atom.label == label; });
    return found == atoms.end() ? none : static_cast<int>(found - atoms.begin());
}

/// Read whole groups of four; false if the words run out inside one.
bool readTransitions(const Molecule &mol, Words words, std::vector<Transition> &transitions) {
    for (;;) {
        int atoms[4];
        for (int i = 0; i < 4; ++i) {
            const std::string_view word = words.next();
            if (word.empty()) return i == 0;
            atoms[i] = atomLabelled(mol, word);
        }
        transitions.push_back({atoms[0], atoms[1], atoms[2], atoms[3]});
    }
}

} // namespace

int *getTransitionCode(Molecule *mol) {
    if (mol->transitionCount <= 0) return nullptr;
    return guarded(static_cast<int *>(nullptr), [&] { return newTransitionCode(*mol); });
}

int genTransition(Molecule *mol, const char *text) {
    return guarded(0, [&] {
        std::vector<Transition> transitions;
        const bool complete = readTransitions(*mol, Words(text ? text : ""), transitions);
        releaseBlock(mol->transitions);
        mol->transitionCount = 0;
        if (!resizeArray(mol->transitions, transitions.size())) return 0;
        std::ranges::copy(transitions, mol->transitions);
        mol->transitionCount = static_cast<int>(transitions.size());
        return complete ? 1 : 0;
    });
}

void mapTransition(Molecule *mol, int *out, int mark, int other) {
    std::fill_n(out, std::max(mol->atomCount, 0), other);
    for (const auto &[breakA, breakB, formA, formB] : transitionsOf(*mol))
        for (const int atom : {breakA, breakB, formA, formB})
            if (hasAtom(*mol, atom)) out[atom] = mark;
}
