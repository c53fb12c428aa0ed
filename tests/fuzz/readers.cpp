/// What the host reads as text: structures, reaction SMILES, unfinished outputs, lines beside a
/// database, frequencies of other programs. The first byte says which. Whatever the bytes, a reader
/// gives something sound or throws the one kind of error that it is said to throw.
#include "host/answers/json.hpp"
#include "host/answers/sdf.hpp"
#include "host/answers/xyz.hpp"
#include "host/programs/frequency_job.hpp"
#include "host/reactions/reaction_smiles.hpp"
#include "host/store/side_record.hpp"
#include "host/structures/mdl.hpp"
#include "host/structures/xyz.hpp"
#include "host/system/error.hpp"
#include "host/system/input_file.hpp"
#include "tests/fuzz/bytes.hpp"

using namespace saddlefit::fuzz;
using namespace saddlefit::host;

namespace {

void readXyz(const InputFile &file) {
    std::size_t from = 0;
    for (const auto &place : placesOfXyzRecords(file)) {
        require(place.offset >= from, "records follow each other");
        from = place.offset + place.size;
        const auto text = file.bytes(place.offset, place.size);
        const auto record = xyzRecordIn(text, place.firstLine);
        electronsInTitle(record.title);
        if (!record.fault.empty()) continue;
        const auto atoms = readXyzAtoms(record);
        require(atoms.size() == record.atomLines.size(), "every line of an atom is one");
        const auto written = xyzRecord("title", atoms);
        require(readXyzAtoms(xyzRecordIn(written, 1)).size() == atoms.size(),
                "what is written can be read");
    }
}

void readMdl(const InputFile &file) {
    for (const auto &place : placesOfMdlRecords(file)) {
        const auto table = readMdlTable(mdlRecordAt(file, place));
        const auto count = static_cast<int>(table.atoms.size());
        for (const auto &bond : table.bonds)
            require(bond.atom1 >= 0 && bond.atom2 >= 0 && bond.atom1 < count &&
                        bond.atom2 < count && bond.atom1 != bond.atom2,
                    "a bond joins two atoms");
        require(table.mapNumbers.size() == table.atoms.size() &&
                    table.hydrogens.size() == table.atoms.size(),
                "there is one value for each atom");
    }
}

void readSmiles(const std::string &path, const std::string &text) {
    for (const auto &smiles : reactionSmilesOf(path))
        require(smiles.reactants.size() + smiles.products.size() + smiles.title.size() <=
                    text.size(),
                "nothing is made up");
}

/// What is left when a run goes on behind the last complete piece.
void readPieces(const std::string &text, std::vector<Piece> (*scan)(std::string_view)) {
    const auto pieces = scan(text);
    std::size_t end = 0;
    for (const auto &piece : pieces) {
        require(piece.end > end && piece.end <= text.size(), "pieces follow each other");
        end = piece.end;
    }
    const auto again = scan(std::string_view(text).substr(0, end));
    require(again.size() == pieces.size() && (again.empty() || again.back().end == end),
            "complete pieces are so without what is behind them");
}

void readSideLine(const std::string &text) {
    const auto record = sideRecordIn(text);
    const auto head = sideLineHead(text);
    require(head.digest == record.digest && head.name == record.name &&
                head.quality == record.quality,
            "the head of a line says what the line says");
    const auto line = sideLine(record);
    require(sideLine(sideRecordIn(line)) == line, "what is written is read as it was");
}

void readFrequencies(const std::string &text) {
    const auto job = frequencyJobIn(text);
    if (!job) return;
    for (const auto &mode : job->modes)
        require(mode.displacements.size() == job->atoms.size(), "a mode moves every atom");
}

void read(int choice, const std::string &text) {
    static const ScratchFile file;
    if (choice < 3) file.write({reinterpret_cast<const std::uint8_t *>(text.data()), text.size()});
    if (choice == 0) return readXyz(InputFile(file.path()));
    if (choice == 1) return readMdl(InputFile(file.path()));
    if (choice == 2) return readSmiles(file.path(), text);
    if (choice == 3) return readPieces(text, jsonPieces);
    if (choice == 4) return readPieces(text, sdfPieces);
    if (choice == 5) return readPieces(text, xyzPieces);
    if (choice == 6) return readSideLine(text);
    readFrequencies(text);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Bytes bytes(data, size);
    const int choice = bytes.byte() % 8;
    try {
        read(choice, {bytes.rest().begin(), bytes.rest().end()});
    } catch (const Error &) { // which is what readers throw
    }
    return 0;
}
