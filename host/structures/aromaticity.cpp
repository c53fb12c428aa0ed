#include "host/structures/aromaticity.hpp"

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>

namespace saddlefit::host {

namespace {

constexpr std::size_t longestCycle = 14;
constexpr int mostSteps =
    20'000; // of a search for cycles or a Kekule form: hostile cages end there

/// A bond seen from an atom.
struct Link {
    std::size_t atom;
    std::size_t bond;
};
using Links = std::vector<std::vector<Link>>;

Links linksOf(std::size_t atomCount, const std::vector<StructureBond> &bonds) {
    Links links(atomCount);
    for (std::size_t i = 0; i < bonds.size(); ++i) {
        const auto a = static_cast<std::size_t>(bonds[i].atom1);
        const auto b = static_cast<std::size_t>(bonds[i].atom2);
        links[a].push_back({b, i});
        links[b].push_back({a, i});
    }
    return links;
}

/// Takes away what hangs on rings: atoms with one link, again and again.
void cutBranches(Links &links) {
    std::vector<std::size_t> ends;
    for (std::size_t atom = 0; atom < links.size(); ++atom) {
        if (links[atom].size() == 1) ends.push_back(atom);
    }
    while (!ends.empty()) {
        const auto atom = ends.back();
        ends.pop_back();
        if (links[atom].size() != 1) continue;
        const auto neighbour = links[atom].front().atom;
        links[atom].clear();
        std::erase_if(links[neighbour], [&](const Link &link) { return link.atom == atom; });
        if (links[neighbour].size() == 1) ends.push_back(neighbour);
    }
}

// ---- smallest rings ---------------------------------------------------------------------------

using Cycle = std::vector<std::size_t>; // bonds, ascending

/// Paths of shortest length from one atom, up to half of the longest cycle.
struct ShortestPaths {
    std::map<std::size_t, std::size_t> length; // by atom
    std::map<std::size_t, Link> towards;       // the step back to the start

    ShortestPaths(const Links &links, std::size_t start) {
        length[start] = 0;
        for (std::deque<std::size_t> queue{start}; !queue.empty(); queue.pop_front()) {
            const auto atom = queue.front();
            if (length[atom] == longestCycle / 2) continue;
            for (const auto &[next, bond] : links[atom]) {
                if (length.contains(next)) continue;
                length[next] = length[atom] + 1;
                towards[next] = {atom, bond};
                queue.push_back(next);
            }
        }
    }

    Cycle bondsTo(std::size_t atom) const {
        Cycle bonds;
        for (auto step = towards.find(atom); step != towards.end();
             step = towards.find(step->second.atom))
            bonds.push_back(step->second.bond);
        return bonds;
    }
};

/// Every smallest ring is a bond and two shortest paths to its atoms.
std::vector<Cycle> candidateCycles(const Links &links) {
    std::set<Cycle> cycles;
    for (std::size_t start = 0; start < links.size(); ++start) {
        if (links[start].empty()) continue;
        const ShortestPaths paths(links, start);
        for (const auto &[a, lengthA] : paths.length) {
            for (const auto &[b, bond] : links[a]) {
                if (b < a || !paths.length.contains(b)) continue;
                auto cycle = paths.bondsTo(a);
                const auto second = paths.bondsTo(b);
                cycle.insert(cycle.end(), second.begin(), second.end());
                cycle.push_back(bond);
                std::sort(cycle.begin(), cycle.end());
                const bool twice = std::adjacent_find(cycle.begin(), cycle.end()) != cycle.end();
                if (!twice && cycle.size() > 2 && cycle.size() <= longestCycle)
                    cycles.insert(std::move(cycle));
            }
        }
    }
    return {cycles.begin(), cycles.end()};
}

/// Shortest first, each that is no sum (of bonds modulo 2) of those before it.
std::vector<Cycle> smallestRings(const Links &links) {
    auto candidates = candidateCycles(links);
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Cycle &a, const Cycle &b) { return a.size() < b.size(); });
    std::map<std::size_t, Cycle> reduced; // by their first bond
    std::vector<Cycle> rings;
    for (const auto &candidate : candidates) {
        Cycle rest = candidate;
        for (auto found = reduced.end();
             !rest.empty() && (found = reduced.find(rest.front())) != reduced.end();) {
            Cycle sum;
            std::set_symmetric_difference(rest.begin(), rest.end(), found->second.begin(),
                                          found->second.end(), std::back_inserter(sum));
            rest = std::move(sum);
        }
        if (rest.empty()) continue;
        reduced.emplace(rest.front(), std::move(rest));
        rings.push_back(candidate);
    }
    return rings;
}

std::vector<Ring> ringsWithin(const Links &links, const std::vector<StructureBond> &bonds,
                              const std::vector<bool> &aromatic) {
    std::vector<Ring> rings;
    for (const auto &cycle : smallestRings(links)) {
        const bool all = std::all_of(cycle.begin(), cycle.end(),
                                     [&](std::size_t bond) { return aromatic[bond]; });
        if (!all) continue;
        auto &ring = rings.emplace_back();
        for (const auto bond : cycle)
            ring.push_back(orderedPair(bonds[bond].atom1, bonds[bond].atom2));
        std::sort(ring.begin(), ring.end());
    }
    return rings;
}

// ---- pi electrons -----------------------------------------------------------------------------

struct Surroundings {
    int element = 0, charge = 0;
    int degree = 0, valence = 0; // with hydrogens
    int doubleBondOutside = 0;   // element at the other end of a double bond that is in no ring
    bool oxide = false;          // a negative oxygen outside
};

std::optional<int> carbonElectrons(const Surroundings &at) {
    if (at.charge == 0 && at.valence == 4 && at.degree == 3) {
        const bool drawn = at.doubleBondOutside != 0 && at.doubleBondOutside != 6;
        return drawn ? 0 : 1;
    }
    if (at.valence != 3 || at.charge == 0) return std::nullopt;
    if (at.degree == 2) return 1;
    if (at.degree != 3) return std::nullopt;
    if (at.charge == 1) return 0;
    return at.charge == -1 ? std::optional(2) : std::nullopt;
}

std::optional<int> nitrogenElectrons(const Surroundings &at) {
    if (at.charge == 0 && at.valence == 3) {
        if (at.degree == 3) return 2;
        return at.degree == 2 ? std::optional(1) : std::nullopt;
    }
    if (at.charge == 0 && at.valence == 5 && at.degree == 3 && at.doubleBondOutside == 8) return 1;
    if (at.charge == 1 && at.valence == 4 && at.degree == 3) return 1;
    if (at.charge == -1 && at.valence == 2 && at.degree == 2) return 2;
    return std::nullopt;
}

std::optional<int> oxygenElectrons(const Surroundings &at) {
    if (at.degree == 2 && at.charge == 0 && at.valence == 2) return 2;
    if (at.degree == 2 && at.charge == 1 && at.valence == 3) return 1;
    if (at.element != 8 && at.degree == 3 && at.charge == 1 && at.valence == 3 && at.oxide)
        return 2;
    const bool sulfoxide = at.element != 8 && at.charge == 0 && at.valence == 4 && at.degree == 3 &&
                           at.doubleBondOutside == 8;
    return sulfoxide ? std::optional(2) : std::nullopt;
}

/// Nothing for an atom that takes no part.
std::optional<int> piElectrons(const Surroundings &at) {
    switch (at.element) {
    case 5:
        if (at.charge != 0 || at.valence != 3) return std::nullopt;
        return at.degree == 3 ? 0 : 1;
    case 6:
        return carbonElectrons(at);
    case 7:
    case 15:
    case 33:
        return nitrogenElectrons(at);
    case 8:
    case 16:
    case 34:
        return oxygenElectrons(at);
    default:
        return std::nullopt;
    }
}

std::vector<std::optional<int>> piElectrons(const std::vector<StructureAtom> &atoms,
                                            const std::vector<StructureBond> &bonds,
                                            const std::vector<int> &hydrogens, const Links &inRings,
                                            const Links &all) {
    std::vector<std::optional<int>> electrons(atoms.size());
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        if (inRings[i].empty()) continue;
        Surroundings at{atoms[i].element, atoms[i].charge,
                        static_cast<int>(all[i].size()) + hydrogens[i], hydrogens[i]};
        for (const auto &[neighbour, bond] : all[i]) {
            at.valence += bonds[bond].type;
            const bool ring =
                std::any_of(inRings[i].begin(), inRings[i].end(),
                            [&, to = neighbour](const Link &link) { return link.atom == to; });
            if (atoms[neighbour].element == 8 && atoms[neighbour].charge == -1) at.oxide = true;
            if (!ring && bonds[bond].type == 2) at.doubleBondOutside = atoms[neighbour].element;
        }
        electrons[i] = piElectrons(at);
    }
    return electrons;
}

// ---- aromatic cycles --------------------------------------------------------------------------

/// Looks for a cycle with 4n + 2 electrons through a bond.
class CycleSearch {
public:
    CycleSearch(const Links &links, const std::vector<std::optional<int>> &electrons)
        : links_(links), electrons_(electrons), onPath_(links.size()) {}

    /// The bonds of such a cycle; empty if there is none.
    Cycle through(const Link &first, std::size_t start) {
        for (std::size_t longest = 6; longest <= longestCycle; longest += 4) {
            steps_ = 0;
            longest_ = longest;
            start_ = start;
            path_ = {first.bond};
            onPath_[start] = onPath_[first.atom] = true;
            const bool found = closes(first.atom, *electrons_[start] + *electrons_[first.atom]);
            std::fill(onPath_.begin(), onPath_.end(), false);
            if (found) return path_;
        }
        return {};
    }

private:
    bool closes(std::size_t atom, int sum) {
        if (++steps_ > mostSteps) return false;
        for (const auto &[next, bond] : links_[atom]) {
            if (next == start_ && path_.size() > 1 && sum % 4 == 2) {
                path_.push_back(bond);
                return true;
            }
            if (onPath_[next] || !electrons_[next] || path_.size() + 1 >= longest_) continue;
            path_.push_back(bond);
            onPath_[next] = true;
            if (closes(next, sum + *electrons_[next])) return true;
            onPath_[next] = false;
            path_.pop_back();
        }
        return false;
    }

    const Links &links_;
    const std::vector<std::optional<int>> &electrons_;
    std::vector<bool> onPath_;
    Cycle path_;
    std::size_t start_ = 0, longest_ = 0;
    int steps_ = 0;
};

std::vector<bool> aromaticBonds(const Links &links, std::size_t bondCount,
                                const std::vector<std::optional<int>> &electrons) {
    std::vector<bool> aromatic(bondCount);
    CycleSearch search(links, electrons);
    for (std::size_t atom = 0; atom < links.size(); ++atom) {
        if (!electrons[atom]) continue;
        for (const auto &link : links[atom]) {
            if (link.atom < atom || aromatic[link.bond] || !electrons[link.atom]) continue;
            for (const auto bond : search.through(link, atom))
                aromatic[bond] = true;
        }
    }
    return aromatic;
}

// ---- Kekule forms -----------------------------------------------------------------------------

/// Whether an atom with bonds drawn aromatic takes part in one of the double bonds.
bool wantsDoubleBond(const StructureAtom &atom, int sum, int hydrogens) {
    const int bound = sum + hydrogens;
    switch (atom.element - atom.charge) {
    case 5:
        return bound < 3;
    case 6:
    case 14:
        return bound < 4;
    case 7:
    case 15:
    case 33:
        return bound < 3;
    default:
        return false;
    }
}

/// Pairs the atoms that want a double bond along the bonds drawn aromatic.
class KekuleSearch {
public:
    KekuleSearch(const Links &links, std::vector<bool> wanting)
        : links_(links), wanting_(std::move(wanting)) {}

    std::optional<std::vector<std::size_t>> doubleBonds() {
        if (!pairs()) return std::nullopt;
        return chosen_;
    }

private:
    /// An atom with the fewest partners is paired first, so that wrong turns show early.
    std::optional<std::size_t> hardest() const {
        std::optional<std::size_t> best;
        std::size_t fewest = links_.size();
        for (std::size_t atom = 0; atom < wanting_.size(); ++atom) {
            if (!wanting_[atom]) continue;
            const auto count = static_cast<std::size_t>(
                std::count_if(links_[atom].begin(), links_[atom].end(),
                              [&](const Link &link) { return wanting_[link.atom]; }));
            if (best && count >= fewest) continue;
            best = atom;
            fewest = count;
            if (count < 2) break;
        }
        return best;
    }

    bool pairs() {
        const auto atom = hardest();
        if (!atom) return true;
        if (++steps_ > mostSteps) return false;
        for (const auto &[partner, bond] : links_[*atom]) {
            if (!wanting_[partner]) continue;
            wanting_[*atom] = wanting_[partner] = false;
            chosen_.push_back(bond);
            if (pairs()) return true;
            chosen_.pop_back();
            wanting_[*atom] = wanting_[partner] = true;
        }
        return false;
    }

    const Links &links_;
    std::vector<bool> wanting_;
    std::vector<std::size_t> chosen_;
    int steps_ = 0;
};

/// The bonds in a Kekule form; nothing if there is none.
std::optional<std::vector<StructureBond>> kekulised(const std::vector<StructureAtom> &atoms,
                                                    std::vector<StructureBond> bonds,
                                                    const std::vector<int> &hydrogens) {
    Links drawn(atoms.size());
    std::vector<int> sums(atoms.size());
    const auto all = linksOf(atoms.size(), bonds);
    for (std::size_t atom = 0; atom < atoms.size(); ++atom) {
        for (const auto &link : all[atom]) {
            const int type = bonds[link.bond].type;
            sums[atom] += type == aromaticType ? 1 : type;
            if (type == aromaticType) drawn[atom].push_back(link);
        }
    }
    std::vector<bool> wanting(atoms.size());
    for (std::size_t atom = 0; atom < atoms.size(); ++atom)
        wanting[atom] =
            !drawn[atom].empty() && wantsDoubleBond(atoms[atom], sums[atom], hydrogens[atom]);
    const auto doubles = KekuleSearch(drawn, wanting).doubleBonds();
    if (!doubles) return std::nullopt;
    for (auto &bond : bonds)
        if (bond.type == aromaticType) bond.type = 1;
    for (const auto bond : *doubles)
        bonds[bond].type = 2;
    return bonds;
}

} // namespace

std::vector<Ring> ringsOfAromaticBonds(std::size_t atomCount,
                                       const std::vector<StructureBond> &bonds) {
    std::vector<StructureBond> aromatic;
    std::copy_if(bonds.begin(), bonds.end(), std::back_inserter(aromatic),
                 [](const StructureBond &bond) { return bond.type == aromaticType; });
    if (aromatic.empty()) return {};
    auto links = linksOf(atomCount, aromatic);
    cutBranches(links);
    return ringsWithin(links, aromatic, std::vector<bool>(aromatic.size(), true));
}

std::vector<Ring> aromaticRings(const std::vector<StructureAtom> &atoms,
                                const std::vector<StructureBond> &bonds,
                                const std::vector<int> &hydrogens) {
    auto rings = linksOf(atoms.size(), bonds);
    cutBranches(rings);
    if (std::all_of(rings.begin(), rings.end(), [](const auto &links) { return links.empty(); }))
        return {};
    const auto drawn = kekulised(atoms, bonds, hydrogens);
    if (!drawn) return {};
    const auto all = linksOf(atoms.size(), *drawn);
    const auto electrons = piElectrons(atoms, *drawn, hydrogens, rings, all);
    const auto aromatic = aromaticBonds(rings, bonds.size(), electrons);
    if (std::find(aromatic.begin(), aromatic.end(), true) == aromatic.end()) return {};
    return ringsWithin(rings, bonds, aromatic);
}

} // namespace saddlefit::host
