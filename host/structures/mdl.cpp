#include "host/structures/mdl.hpp"

#include "host/structures/elements.hpp"
#include "host/system/error.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <sstream>
#include <utility>

namespace saddlefit::host {

namespace {

// Layout of a molfile: three header lines, the counts line, atoms, bonds. V2000 has fixed columns.
constexpr std::string_view recordEnd = "$$$$";
constexpr std::size_t countsLine = 3;
constexpr std::size_t countWidth = 3;
constexpr std::size_t coordinateWidth = 10;
constexpr std::size_t symbolColumn = 31;
constexpr std::size_t massColumn = 34;
constexpr std::size_t chargeColumn = 36;
constexpr std::size_t valenceColumn = 48;
constexpr std::size_t mapNumberColumn = 60;
constexpr std::size_t bondTypeColumn = 6;

// In a V3000 line "M  V30 1 C 0.0 0.0 0.0 0" or "M  V30 1 2 5 6", counted in words.
constexpr std::size_t v30FirstCoordinate = 4;
constexpr std::size_t v30Index = 2;
constexpr std::size_t v30Symbol = 3;
constexpr std::size_t v30BondType = 3;
constexpr std::size_t v30FirstOption = 8;

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view column(std::string_view line, std::size_t start, std::size_t width) {
    return start < line.size() ? trimmed(line.substr(start, width)) : std::string_view{};
}

template <class Number>
Number parsed(std::string_view word, std::size_t lineNumber, const char *what) {
    Number value{};
    if (word.starts_with('+')) word.remove_prefix(1);
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc{} || end != word.data() + word.size()) {
        throw Error("line " + std::to_string(lineNumber) + ": \"" + std::string(word) +
                    "\" is not a " + what +
                    "; correct the line, or the counts in front if the block is shorter");
    }
    return value;
}

std::vector<std::string_view> wordsOf(std::string_view line) {
    std::vector<std::string_view> words;
    for (line = trimmed(line); !line.empty();) {
        const auto end = line.find_first_of(" \t");
        words.push_back(line.substr(0, end));
        line = end == std::string_view::npos ? std::string_view{} : trimmed(line.substr(end));
    }
    return words;
}

// The lines of a record with their numbers in the file.
class Lines {
public:
    explicit Lines(const MdlRecord &record) : firstLine_(record.firstLine) {
        std::string_view rest = record.text;
        while (!rest.empty() && !rest.starts_with(recordEnd)) {
            const auto end = rest.find('\n');
            lines_.push_back(rest.substr(0, end));
            rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
        }
    }

    std::size_t count() const { return lines_.size(); }
    std::size_t numberOf(std::size_t index) const { return firstLine_ + index; }

    std::string_view at(std::size_t index) const {
        if (index < lines_.size()) return lines_[index];
        throw Error("line " + std::to_string(numberOf(lines_.size())) +
                    ": the record ends too early; the file may be cut off");
    }

private:
    std::size_t firstLine_;
    std::vector<std::string_view> lines_;
};

[[noreturn]] void failBroken(std::size_t lineNumber, std::string_view text, const char *what) {
    std::string words;
    for (const auto word : wordsOf(text))
        words += (words.empty() ? "" : " ") + std::string(word);
    throw Error("the record is broken: line " + std::to_string(lineNumber) + " (" + words + ") " +
                what + "; correct the line");
}

// 0 for blank columns and for what is no number, as in files of programs that leave them out.
int numberOrZero(std::string_view word) {
    int value = 0;
    if (word.starts_with('+')) word.remove_prefix(1);
    std::from_chars(word.data(), word.data() + word.size(), value);
    return value;
}

// ---- hydrogens that are not drawn -------------------------------------------------------------

// The usual valences, lowest first; a charged atom has those of its neighbour in the table.
std::vector<int> usualValences(int electrons) {
    switch (electrons) {
    case 5:
        return {3};
    case 6:
    case 14:
        return {4};
    case 7:
    case 15:
    case 33:
        return {3, 5};
    case 8:
        return {2};
    case 16:
    case 34:
        return {2, 4, 6};
    default:
        return {};
    }
}

// Electrons that are taken by the radical of this code (singlet, doublet, triplet).
int radicalElectrons(int code) {
    if (code == 0) return 0;
    return code == 2 ? 1 : 2;
}

void countUnpaired(MdlTable &table, const std::vector<int> &radicals) {
    constexpr int doublet = 2, triplet = 3;
    for (const int code : radicals)
        table.unpaired.push_back(code == doublet ? 1 : code == triplet ? 2 : 0);
}

// A valence that the record names: 0 where it names none, 15 (in V3000 -1) for an atom without
// bonds.
int hydrogensByValence(int valence, int sum) {
    constexpr int none = 15;
    return valence == none || valence < 0 ? 0 : std::max(0, valence - sum);
}

void countHydrogens(MdlTable &table, const std::vector<int> &radicals,
                    const std::vector<int> &valences) {
    std::vector<int> sums(table.atoms.size()), aromatic(table.atoms.size());
    for (const auto &bond : table.bonds) {
        for (const int atom : {bond.atom1, bond.atom2}) {
            const auto index = static_cast<std::size_t>(atom);
            sums[index] += bond.type == mdlAromaticType ? 1 : bond.type;
            if (bond.type == mdlAromaticType) aromatic[index] = 1;
        }
    }
    for (std::size_t i = 0; i < table.atoms.size(); ++i) {
        const auto &atom = table.atoms[i];
        const bool isCarbon = atom.element == 6;
        if (valences[i] != 0) {
            const int sum = sums[i] + (isCarbon ? aromatic[i] : 0);
            table.hydrogens.push_back(hydrogensByValence(valences[i], sum));
            continue;
        }
        const int bound = sums[i] + (isCarbon ? aromatic[i] : 0) + radicalElectrons(radicals[i]);
        int free = 0;
        for (const int valence : usualValences(atom.element - atom.charge)) {
            if (valence < bound) continue;
            free = valence - bound;
            break;
        }
        // A nitrogen drawn with aromatic bonds shares its third in one of them.
        table.hydrogens.push_back(aromatic[i] != 0 && !isCarbon ? 0 : free);
    }
}

// ---- V2000 ------------------------------------------------------------------------------------

// Charges and radicals of property lines supersede those of the atom lines.
struct Properties {
    std::vector<int> charges, radicals, valences;
    bool superseded = false;

    explicit Properties(std::size_t count) : charges(count), radicals(count), valences(count) {}

    void supersede() {
        if (std::exchange(superseded, true)) return;
        std::fill(charges.begin(), charges.end(), 0);
        std::fill(radicals.begin(), radicals.end(), 0);
    }
};

void readV2000Atom(const Lines &lines, std::size_t line, MdlTable &table, Properties &properties) {
    constexpr std::array<int, 8> chargeOfCode{0, 3, 2, 1, 0, -1, -2, -3};
    constexpr int radicalCode = 4, doublet = 2;
    const auto text = lines.at(line);
    const auto number = lines.numberOf(line);
    StructureAtom atom;
    double *const axes[] = {&atom.position.x, &atom.position.y, &atom.position.z};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        *axes[axis] = parsed<double>(column(text, axis * coordinateWidth, coordinateWidth), number,
                                     "coordinate");
    }
    const auto symbol = column(text, symbolColumn, countWidth);
    if (symbol.empty()) failBroken(number, text, "names no element");
    atom.element = elementNumber(symbol);
    const auto code = numberOrZero(column(text, chargeColumn, countWidth));
    const auto index = table.atoms.size();
    if (code > 0 && code < static_cast<int>(chargeOfCode.size())) {
        properties.charges[index] = chargeOfCode[static_cast<std::size_t>(code)];
    }
    if (code == radicalCode) properties.radicals[index] = doublet;
    properties.valences[index] = numberOrZero(column(text, valenceColumn, countWidth));
    if (symbol == "D" || symbol == "T" || numberOrZero(column(text, massColumn, 2)) != 0) {
        table.hasIsotopes = true;
    }
    table.mapNumbers.push_back(numberOrZero(column(text, mapNumberColumn, countWidth)));
    table.atoms.push_back(atom);
}

void addBond(MdlTable &table, std::set<AtomPair> &pairs, const StructureBond &bond,
             std::size_t number, std::string_view text) {
    const auto exists = [&](int atom) {
        return atom >= 0 && atom < static_cast<int>(table.atoms.size());
    };
    if (!exists(bond.atom1) || !exists(bond.atom2) || bond.atom1 == bond.atom2) {
        failBroken(number, text, "joins no two atoms of the record");
    }
    if (bond.type < 1) {
        failBroken(number, text, "draws a bond of no type");
    }
    if (!pairs.insert(orderedPair(bond.atom1, bond.atom2)).second) {
        failBroken(number, text, "draws a bond a second time");
    }
    table.bonds.push_back(bond);
}

void readV2000Bond(const Lines &lines, std::size_t line, MdlTable &table,
                   std::set<AtomPair> &pairs) {
    const auto text = lines.at(line);
    const auto number = lines.numberOf(line);
    const int type = parsed<int>(column(text, bondTypeColumn, countWidth), number, "bond type");
    const int first = numberOrZero(column(text, 0, countWidth)) - 1;
    const int second = numberOrZero(column(text, countWidth, countWidth)) - 1;
    addBond(table, pairs, {first, second, type}, number, text);
}

// "M  CHG  2   1   1   4  -1": a count, then pairs of atom and value.
void readProperty(const Lines &lines, std::size_t line, MdlTable &table, Properties &properties) {
    constexpr std::size_t firstEntry = 9, entryWidth = 4, highest = 8;
    const auto text = lines.at(line);
    const auto number = lines.numberOf(line);
    const auto kind = text.substr(3, 3);
    const auto count = numberOrZero(column(text, 6, countWidth));
    const auto words = wordsOf(text.substr(std::min(text.size(), firstEntry)));
    if (count < 1 || count > static_cast<int>(highest) ||
        words.size() < 2 * static_cast<std::size_t>(count)) {
        failBroken(number, text, "has another number of entries than it announces");
    }
    if (kind != "ISO") properties.supersede();
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        const auto start = firstEntry + 2 * entryWidth * i;
        const int atom = numberOrZero(column(text, start, entryWidth));
        const int value = numberOrZero(column(text, start + entryWidth, entryWidth));
        if (atom < 1 || atom > static_cast<int>(table.atoms.size())) {
            failBroken(number, text, "names an atom that the record has not");
        }
        const auto index = static_cast<std::size_t>(atom) - 1;
        if (kind == "CHG") properties.charges[index] = value;
        if (kind == "RAD") properties.radicals[index] = value;
        if (kind == "ISO" && value != 0) table.hasIsotopes = true;
    }
}

bool isProperty(std::string_view line) {
    return line.starts_with("M  CHG") || line.starts_with("M  RAD") || line.starts_with("M  ISO");
}

// From its first line on; the block closes with "M  END".
void readFields(const Lines &lines, std::size_t line, MdlTable &table) {
    for (; line < lines.count(); ++line) {
        const auto head = lines.at(line);
        const auto open = head.find('<');
        if (!head.starts_with('>') || open == std::string_view::npos) continue;
        const auto close = head.find('>', open);
        const auto name =
            head.substr(open + 1, close == std::string_view::npos ? close : close - open - 1);
        std::string value;
        while (++line < lines.count() && !trimmed(lines.at(line)).empty())
            value += (value.empty() ? "" : "\n") + std::string(lines.at(line));
        table.fields.emplace(name, trimmed(value));
    }
}

MdlTable readV2000(const Lines &lines) {
    const auto counts = lines.at(countsLine);
    const auto number = lines.numberOf(countsLine);
    MdlTable table;
    const auto atoms = parsed<std::size_t>(column(counts, 0, countWidth), number, "count of atoms");
    const auto bonds =
        parsed<std::size_t>(column(counts, countWidth, countWidth), number, "count of bonds");
    std::size_t line = countsLine + 1;
    Properties properties(atoms);
    for (std::size_t atom = 0; atom < atoms; ++atom, ++line)
        readV2000Atom(lines, line, table, properties);
    std::set<AtomPair> pairs;
    for (std::size_t bond = 0; bond < bonds; ++bond, ++line)
        readV2000Bond(lines, line, table, pairs);
    for (; line < lines.count() && !lines.at(line).starts_with("M  END"); ++line) {
        if (isProperty(lines.at(line))) readProperty(lines, line, table, properties);
    }
    readFields(lines, line, table);
    for (std::size_t atom = 0; atom < atoms; ++atom)
        table.atoms[atom].charge = properties.charges[atom];
    countHydrogens(table, properties.radicals, properties.valences);
    countUnpaired(table, properties.radicals);
    return table;
}

// ---- V3000 ------------------------------------------------------------------------------------

enum class V30Block { none, atoms, bonds };

V30Block blockOf(const std::vector<std::string_view> &words, V30Block current) {
    if (words.size() < 4) return current;
    if (words[2] == "END") return V30Block::none;
    if (words[2] != "BEGIN") return current;
    if (words[3] == "ATOM") return V30Block::atoms;
    return words[3] == "BOND" ? V30Block::bonds : current;
}

// What a V3000 table is read into: its atoms are numbered as they like.
struct V30Table {
    MdlTable table;
    std::map<int, int> atomOfNumber;
    std::vector<int> radicals, valences;
    std::set<AtomPair> pairs;
};

using Words = std::vector<std::string_view>;

std::string_view wordAt(const Words &words, std::size_t index) {
    return index < words.size() ? words[index] : std::string_view{};
}

void readV30Atom(const Words &words, std::size_t number, V30Table &read) {
    StructureAtom atom;
    double *const axes[] = {&atom.position.x, &atom.position.y, &atom.position.z};
    for (std::size_t axis = 0; axis < 3; ++axis)
        *axes[axis] =
            parsed<double>(wordAt(words, v30FirstCoordinate + axis), number, "coordinate");
    const auto symbol = wordAt(words, v30Symbol);
    atom.element = elementNumber(symbol);
    if (symbol == "D" || symbol == "T") read.table.hasIsotopes = true;
    int radical = 0, valence = 0;
    for (std::size_t i = v30FirstOption; i < words.size(); ++i) {
        const auto value = [&](std::string_view key) {
            return numberOrZero(words[i].substr(key.size()));
        };
        if (words[i].starts_with("CHG=")) atom.charge = value("CHG=");
        if (words[i].starts_with("RAD=")) radical = value("RAD=");
        if (words[i].starts_with("VAL=")) valence = value("VAL=");
        if (words[i].starts_with("MASS=") && value("MASS=") != 0) read.table.hasIsotopes = true;
    }
    const int index = static_cast<int>(read.table.atoms.size());
    read.atomOfNumber.emplace(numberOrZero(wordAt(words, v30Index)), index);
    read.radicals.push_back(radical);
    read.valences.push_back(valence);
    read.table.mapNumbers.push_back(0);
    read.table.atoms.push_back(atom);
}

void readV30Bond(const Words &words, std::size_t number, std::string_view text, V30Table &read) {
    const int type = parsed<int>(wordAt(words, v30BondType), number, "bond type");
    const auto atomIn = [&](std::size_t index) {
        const auto found = read.atomOfNumber.find(numberOrZero(wordAt(words, index)));
        return found == read.atomOfNumber.end() ? -1 : found->second;
    };
    addBond(read.table, read.pairs, {atomIn(v30BondType + 1), atomIn(v30BondType + 2), type},
            number, text);
}

// Reads the lines up to the last one of the table; gives the one behind it.
std::size_t readV30Lines(const Lines &lines, V30Table &read) {
    V30Block block = V30Block::none;
    std::string joined;
    for (std::size_t line = countsLine + 1; line < lines.count(); ++line) {
        auto text = trimmed(lines.at(line));
        if (text.starts_with("M  END")) return line + 1;
        constexpr std::string_view prefix = "M  V30";
        // A line that ends with "-" goes on in the next one.
        if (!joined.empty() && text.starts_with(prefix)) text.remove_prefix(prefix.size());
        joined += text;
        if (joined.ends_with('-')) {
            joined.back() = ' ';
            continue;
        }
        const std::string whole = std::exchange(joined, {});
        const auto words = wordsOf(whole);
        if (words.size() < 3 || words[1] != "V30") continue;
        const V30Block previous = std::exchange(block, blockOf(words, block));
        if (block != previous || block == V30Block::none) continue;
        if (block == V30Block::atoms)
            readV30Atom(words, lines.numberOf(line), read);
        else
            readV30Bond(words, lines.numberOf(line), whole, read);
    }
    throw Error("the record is broken: it has no line \"M  END\"; the file may be cut off");
}

MdlTable readV3000(const Lines &lines) {
    V30Table read;
    const auto line = readV30Lines(lines, read);
    readFields(lines, line, read.table);
    countHydrogens(read.table, read.radicals, read.valences);
    countUnpaired(read.table, read.radicals);
    return std::move(read.table);
}

} // namespace

std::vector<RecordPlace> placesOfMdlRecords(const InputFile &file) {
    std::vector<RecordPlace> places;
    RecordPlace current;
    std::size_t lineNumber = 0;
    bool isBlank = true;
    file.forEachLine([&](const InputLine &line) {
        ++lineNumber;
        current.size = line.end - current.offset;
        isBlank = isBlank && line.text.find_first_not_of(" \t\r") == std::string_view::npos;
        if (!line.text.starts_with(recordEnd)) return;
        places.push_back(current);
        current = {line.end, 0, lineNumber + 1};
        isBlank = true;
    });
    if (!isBlank) places.push_back(current);
    return places;
}

MdlRecord mdlRecordAt(const InputFile &file, const RecordPlace &place) {
    MdlRecord record{{}, place.firstLine};
    std::string line;
    for (std::istringstream stream(file.bytes(place.offset, place.size));
         std::getline(stream, line);) {
        if (line.ends_with('\r')) line.pop_back();
        record.text += line + '\n';
    }
    return record;
}

MdlTable readMdlTable(const MdlRecord &record) {
    const Lines lines(record);
    const bool v3000 = lines.at(countsLine).find("V3000") != std::string_view::npos;
    return v3000 ? readV3000(lines) : readV2000(lines);
}

} // namespace saddlefit::host
