#include "host/search/stored_reactions.hpp"

#include "host/store/database_file.hpp"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

namespace saddlefit::host {

namespace {

/// False for a damaged record, which could not win.
bool isFinite(const Molecule &mol) {
    const std::span atoms(mol.atoms, static_cast<std::size_t>(mol.atomCount));
    return std::all_of(atoms.begin(), atoms.end(), [](const Atom &atom) {
        return std::isfinite(atom.x) && std::isfinite(atom.y) && std::isfinite(atom.z);
    });
}

} // namespace

StoredReactions::StoredReactions(const std::string &path)
    : empty_(!holdsRecords(path)), file_(openReactions(path)) {}

void StoredReactions::noteCodes() const {
    constexpr int anyCode[] = {1, 1, 0};
    forEachStored(*file_, anyCode, [](const HostMolecule &, int) {});
}

void StoredReactions::surveyUntil(const std::optional<Deadline> &deadline) const {
    const std::lock_guard lock(mutex_);
    surveyAll(deadline);
}

void StoredReactions::surveyAll(const std::optional<Deadline> &deadline) const {
    if (allLengths_) return;
    LengthEstimate lengths;
    CodesBySigma codes;
    forEachStored(*file_, nullptr, [&](const HostMolecule &mol, int) {
        if (deadline) deadline->check();
        lengths.count(*mol);
        note(*mol, codes);
    });
    lengths.finish();
    allLengths_ = std::move(lengths);
    if (!codesBySigma_) codesBySigma_ = std::move(codes); // a thread may be reading the former
}

const StoredReactions::CodesBySigma &StoredReactions::codesBySigma() const {
    const std::lock_guard lock(mutex_);
    if (codesBySigma_) return *codesBySigma_;
    CodesBySigma codes;
    forEachStored(*file_, nullptr, [&](const HostMolecule &mol, int) { note(*mol, codes); });
    return codesBySigma_.emplace(std::move(codes));
}

void StoredReactions::note(Molecule &stored, CodesBySigma &codes) {
    if (!isFinite(stored)) return;
    const auto code = codeOf(&stored);
    makeSigmaPicture(stored);
    codes[codeOf(&stored)].insert(code);
}

const LengthEstimate &StoredReactions::lengthsFor(const WantedKeys &keys) const {
    constexpr std::size_t fewQuestions = 2; // as much work as a whole survey, about
    const std::lock_guard lock(mutex_);
    if (!allLengths_ && !someLengths_.contains(keys)) {
        if (someLengths_.size() == fewQuestions) {
            surveyAll({});
        } else {
            LengthEstimate lengths(keys);
            forEachStored(*file_, nullptr,
                          [&](const HostMolecule &mol, int) { lengths.count(*mol); });
            lengths.finish();
            someLengths_.emplace(keys, std::move(lengths));
        }
    }
    return allLengths_ ? *allLengths_ : someLengths_.at(keys);
}

UsualLengths StoredReactions::usualLengthsIn(const Molecule &transitionState, double m) const {
    WantedKeys keys;
    for (const auto &bond : changingBondsOf(transitionState))
        keys.insert(bond.keys.begin(), bond.keys.end());
    return lengthsFor(keys).lengthsIn(transitionState, m);
}

OpenReactions StoredReactions::askedFor(Stage stage, const Code &code) const {
    return stage == Stage::sigma ? sigmaPictures(code) : file_;
}

OpenReactions StoredReactions::sigmaPictures(const Code &code) const {
    const auto &codes = codesBySigma();
    const auto found = codes.find(code);
    std::map<int, HostMolecule> inFileOrder;
    for (const auto &stored : found == codes.end() ? std::set<Code>{} : found->second) {
        forEachStored(*file_, stored.data(), [&](HostMolecule mol, int record) {
            if (!isFinite(*mol)) return;
            makeSigmaPicture(*mol);
            if (codeOf(mol.get()) == code) inFileOrder[record] = std::move(mol);
        });
    }
    std::vector<HostMolecule> pictures;
    for (auto &[record, mol] : inFileOrder)
        pictures.push_back(std::move(mol));
    return openReactions(std::move(pictures));
}

} // namespace saddlefit::host
