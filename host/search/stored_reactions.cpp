#include "host/search/stored_reactions.hpp"

#include "saddlefit/database.h"
#include "saddlefit/reaction.h"

#include "host/store/database_file.hpp"
#include "host/system/error.hpp"
#include "host/system/open_file.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

namespace saddlefit::host {

namespace {

// Hand each stored molecule of a database, named, to `visit`.
template <class Visit> void forEachStored(const std::string &path, Visit visit) {
    const OpenFile file(std::fopen(path.c_str(), "rb"));
    if (!file) throw Error(path + ": the database cannot be opened any more; try again");
    Molecule *read = nullptr;
    while (char *name = readDB(file.get(), nullptr, nullptr, &read)) {
        const HostMolecule mol(read);
        mol->name = name;
        visit(*mol);
    }
}

// False for a damaged record. It could not win, and cannot be written again.
bool isFinite(const Molecule &mol) {
    const std::span atoms(mol.atoms, static_cast<std::size_t>(mol.atomCount));
    return std::all_of(atoms.begin(), atoms.end(), [](const Atom &atom) {
        return std::isfinite(atom.x) && std::isfinite(atom.y) && std::isfinite(atom.z);
    });
}

// A record's block; nothing for a damaged record, which could not win either.
std::string blockOf(Molecule &mol, const std::string &name) {
    const auto bytes = recordBytes(mol, name);
    return bytes ? blockHeader(bytes->size()) + *bytes : std::string{};
}

} // namespace

StoredReactions::StoredReactions(const std::string &path)
    : path_(path), empty_(!holdsRecords(path)) {}

void StoredReactions::prepareSigma(const std::set<Code> &codes) {
    std::string blocks;
    forEachStored(path_, [&](Molecule &stored) {
        if (!isFinite(stored)) return;
        makeSigmaPicture(stored);
        if (codes.contains(codeOf(&stored))) blocks += blockOf(stored, nameOf(&stored));
    });
    sigma_ = std::make_unique<TemporaryFile>();
    sigma_->write(blocks);
}

void StoredReactions::prepareLengths() {
    forEachStored(path_, [&](Molecule &stored) { lengths_.count(stored); });
    lengths_.finish();
}

std::vector<HostMolecule> StoredReactions::candidates(Stage stage, const Code &code) const {
    const auto &path = stage == Stage::sigma ? sigma_->path() : path_;
    Molecule **list = nullptr;
    Code wanted = code;
    const int count = filterDB(path.c_str(), wanted.data(), &list);
    const std::unique_ptr<Molecule *, decltype(&std::free)> owned(list, &std::free);
    std::vector<HostMolecule> candidates;
    for (int i = 0; i < count; ++i)
        candidates.emplace_back(list[i]);
    std::erase_if(candidates, [](const HostMolecule &mol) { return !isFinite(*mol); });
    return candidates;
}

SearchFile::SearchFile(const std::vector<HostMolecule> &candidates) {
    for (std::size_t i = 0; i < candidates.size(); ++i)
        blocks_.push_back(blockOf(*candidates[i], std::to_string(i)));
}

const std::string &SearchFile::holding(const std::vector<std::size_t> &indices) {
    std::string bytes;
    for (const auto index : indices)
        bytes += blocks_[index];
    file_.write(bytes);
    return file_.path();
}

} // namespace saddlefit::host
