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
    std::call_once(surveyed_, [&] {
        lengths_ = {}; // of a survey that was given up
        codesBySigma_.clear();
        forEachStored(*file_, nullptr, [&](const HostMolecule &mol, int) {
            if (deadline) deadline->check();
            count(*mol);
        });
        lengths_.finish();
        allLengths_.finish();
    });
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

void StoredReactions::count(Molecule &stored) const {
    if (!isRefused(stored)) lengths_.count(stored);
    if (hasLastResorts()) allLengths_.count(stored);
    if (!isFinite(stored)) return;
    const auto code = codeOf(&stored);
    makeSigmaPicture(stored);
    codesBySigma_[codeOf(&stored)].insert(code);
}

const LengthEstimate &StoredReactions::lengths(Quality least) const {
    survey();
    return least == Quality::refused && hasLastResorts() ? allLengths_ : lengths_;
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
    survey();
    const auto found = codesBySigma_.find(code);
    std::map<int, HostMolecule> inFileOrder;
    for (const auto &stored : found == codesBySigma_.end() ? std::set<Code>{} : found->second) {
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
