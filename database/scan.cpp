#include "database/scan.hpp"

#include <utility>

namespace saddlefit {

bool countsFit(ByteWindow &window, const FileBlock &block) {
    return layoutAt(window, block.data).length() <= block.size;
}

StoredMolecule moleculeAt(ByteWindow &window, std::int64_t data, std::uint32_t position) {
    const RecordLayout layout = layoutAt(window, data);
    const Bytes record = window.at(data, layout.length());
    OwnedBlock<char> name = nameFrom(record, layout);
    OwnedMol mol = name ? moleculeFrom(record, layout) : nullptr;
    if (mol) mol->name = name.release();
    return {std::move(mol), position, static_cast<std::uint32_t>(data)};
}

void scanRecords(const ByteSource &source, const StoredCode *code, Oversized oversized,
                 const MoleculeVisitor &visit) {
    if (code && !code->canMatch()) return;
    ByteWindow window(source);
    forEachUsedBlock(window, [&](const FileBlock &block, std::uint32_t position) {
        if (code && !code->isAt(window, block.data)) return true;
        if (oversized == Oversized::passedOver && !countsFit(window, block)) return true;
        StoredMolecule stored = moleculeAt(window, block.data, position);
        return stored.molecule && visit(std::move(stored));
    });
}

} // namespace saddlefit
