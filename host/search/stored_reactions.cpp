#include "host/search/stored_reactions.hpp"

#include "host/store/database_file.hpp"
#include "host/store/identity.hpp"
#include "host/store/side_file.hpp"
#include "host/system/json.hpp"

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
    : empty_(!holdsRecords(path)), file_(openReactions(path)), refused_(refusedRecords(path)) {}

void StoredReactions::noteCodes() const {
    constexpr int anyCode[] = {1, 1, 0};
    forEachStored(*file_, anyCode, [](const HostMolecule &, int) {});
}

void StoredReactions::surveyUntil(const std::optional<Deadline> &deadline) const {
    const std::lock_guard lock(mutex_);
    surveyAll(deadline);
}

bool StoredReactions::isRefused(Molecule &stored) const {
    if (refused_.empty() || stored.name == nullptr) return false;
    const auto [begin, end] = refused_.equal_range(inUtf8(stored.name));
    if (begin == end) return false;
    const auto bytes = recordBytes(stored, stored.name);
    if (!bytes) return false;
    const auto digest = digestOf(*bytes);
    return std::any_of(begin, end, [&](const auto &entry) { return entry.second == digest; });
}

void StoredReactions::surveyAll(const std::optional<Deadline> &deadline) const {
    if (deadline) deadline->check();
    if (allLengths_) return;
    LengthEstimate lengths;
    CodesBySigma codes;
    forEachStored(*file_, nullptr, [&](const HostMolecule &mol, int) {
        if (deadline) deadline->check();
        if (!isRefused(*mol)) lengths.count(*mol);
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

LengthEstimate StoredReactions::counted(const WantedKeys &keys) const {
    LengthEstimate lengths(keys);
    forEachStored(*file_, nullptr, [&](const HostMolecule &mol, int) {
        if (!isRefused(*mol)) lengths.count(*mol);
    });
    lengths.finish();
    return lengths;
}

const LengthEstimate &StoredReactions::lengthsFor(const WantedKeys &keys) const {
    constexpr std::size_t fewQuestions = 2; // as much work as a whole survey, about
    const std::lock_guard lock(mutex_);
    if (!allLengths_ && !someLengths_.contains(keys)) {
        if (someLengths_.size() == fewQuestions)
            surveyAll({});
        else
            someLengths_.emplace(keys, counted(keys));
    }
    return allLengths_ ? *allLengths_ : someLengths_.at(keys);
}

UsualLengths StoredReactions::usualLengthsIn(const Molecule &transitionState, double m) const {
    WantedKeys keys;
    for (const auto &bond : changingBondsOf(transitionState))
        keys.insert(bond.keys.begin(), bond.keys.end());
    return lengthsFor(keys).lengthsIn(transitionState, m);
}

Asked StoredReactions::askedFor(Stage stage, const Code &code, Quality quality) const {
    if (stage == Stage::sigma) return {sigmaPictures(code, quality), {}};
    Asked asked{file_, {}};
    if (!hasLastResorts()) return asked;
    forEachStored(*file_, code.data(), [&](const HostMolecule &mol, int record) {
        if (isRefused(*mol) != (quality == Quality::refused)) asked.leftOut.push_back(record);
    });
    return asked;
}

OpenReactions StoredReactions::sigmaPictures(const Code &code, Quality quality) const {
    const auto &codes = codesBySigma();
    const auto found = codes.find(code);
    std::map<int, HostMolecule> inFileOrder;
    for (const auto &stored : found == codes.end() ? std::set<Code>{} : found->second) {
        forEachStored(*file_, stored.data(), [&](HostMolecule mol, int record) {
            if (!isFinite(*mol) || isRefused(*mol) != (quality == Quality::refused)) return;
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
