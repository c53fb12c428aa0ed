#include "host/store/stored_record.hpp"

#include "host/structures/host_molecule.hpp"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <span>

namespace saddlefit::host {

namespace {

struct FreeStoredRecord {
    void operator()(::StoredRecord *record) const { freeStoredRecord(record); }
};

template <class T> std::span<T> counted(T *first, int count) {
    return {first, static_cast<std::size_t>(count)};
}

StoredRecord converted(const ::StoredRecord &stored) {
    const Molecule &mol = *stored.molecule;
    StoredRecord record;
    record.name = stored.name;
    record.code.assign(stored.code, stored.code + stored.codeCount);
    for (const Atom &atom : counted(mol.atoms, mol.atomCount))
        record.atoms.push_back({atom.element, 0, {atom.x, atom.y, atom.z}});
    for (const Bond *bond : counted(mol.bonds, mol.bondCount))
        record.bonds.push_back({bond->atom1, bond->atom2, bond->type});
    record.transitions.assign(mol.transitions, mol.transitions + mol.transitionCount);
    record.bytes = static_cast<std::size_t>(stored.length);
    return record;
}

} // namespace

std::variant<StoredRecord, Damage> readRecord(StoreFile &file, const StoreBlock &block) {
    ::StoredRecord stored{};
    StoreDamage damage;
    const std::unique_ptr<::StoredRecord, FreeStoredRecord> owned(&stored);
    const int result = readStoreRecord(&file, &block, &stored, &damage);
    if (result < 0) throw std::bad_alloc();
    if (result == 0) return Damage{static_cast<std::size_t>(damage.offset), damage.what};
    return converted(stored);
}

std::variant<StoredRecord, Damage> readRecord(std::string_view bytes) {
    const OpenStore file(openStoreBytes(bytes.data(), bytes.size()));
    if (!file) throw std::bad_alloc();
    return readRecord(*file, {0, 0, static_cast<std::int64_t>(bytes.size()), 1});
}

std::optional<std::string> recordBytes(Molecule &mol, const std::string &name) {
    const auto code = codeOf(&mol);
    unsigned char *bytes = nullptr;
    const auto length = packRecord(name.c_str(), code.data(), &mol, &bytes);
    const std::unique_ptr<unsigned char, decltype(&std::free)> owned(bytes, &std::free);
    if (length == 0) return std::nullopt;
    return std::string(bytes, bytes + length);
}

std::string blockHeader(std::size_t size) {
    unsigned char header[STORE_HEADER_SIZE];
    packBlockHeader(static_cast<std::uint32_t>(size), header);
    return {header, header + STORE_HEADER_SIZE};
}

} // namespace saddlefit::host
