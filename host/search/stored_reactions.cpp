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
    std::call_once(surveyed_, [&] {
        lengths_ = {}; // of a survey that was given up
        codesBySigma_.clear();
        forEachStored(*file_, nullptr, [&](const HostMolecule &mol, int) {
            if (deadline) deadline->check();
            count(*mol);
        });
        lengths_.finish();
    });
}

void StoredReactions::count(Molecule &stored) const {
    lengths_.count(stored);
    if (!isFinite(stored)) return;
    const auto code = codeOf(&stored);
    makeSigmaPicture(stored);
    codesBySigma_[codeOf(&stored)].insert(code);
}

const LengthEstimate &StoredReactions::lengths() const {
    survey();
    return lengths_;
}

OpenReactions StoredReactions::askedFor(Stage stage, const Code &code) const {
    return stage == Stage::sigma ? sigmaPictures(code) : file_;
}

OpenReactions StoredReactions::sigmaPictures(const Code &code) const {
    survey();
    const auto found = codesBySigma_.find(code);
    std::map<int, HostMolecule> inFileOrder;
    for (const auto &stored : found == codesBySigma_.end() ? std::set<Code>{} : found->second) {
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
