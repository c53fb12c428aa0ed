#include "host/structures/mdl.hpp"

#include "host/system/error.hpp"

#include <charconv>
#include <sstream>

namespace saddlefit::host {

namespace {

// Layout of a molfile: three header lines, the counts line, atoms, bonds. V2000 has fixed columns.
constexpr std::string_view recordEnd = "$$$$";
constexpr std::size_t countsLine = 3;
constexpr std::size_t countWidth = 3;
constexpr std::size_t coordinateWidth = 10;
constexpr std::size_t bondTypeColumn = 6;

// In a V3000 line "M  V30 1 C 0.0 0.0 0.0 0" or "M  V30 1 2 5 6", counted in words.
constexpr std::size_t v30FirstCoordinate = 4;
constexpr std::size_t v30BondType = 3;

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

MdlTable readV2000(const Lines &lines) {
    const auto counts = lines.at(countsLine);
    const auto number = lines.numberOf(countsLine);
    MdlTable table;
    table.atomCount = parsed<std::size_t>(column(counts, 0, countWidth), number, "count of atoms");
    const auto bonds =
        parsed<std::size_t>(column(counts, countWidth, countWidth), number, "count of bonds");
    std::size_t line = countsLine + 1;
    for (std::size_t atom = 0; atom < table.atomCount; ++atom, ++line) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            parsed<double>(column(lines.at(line), axis * coordinateWidth, coordinateWidth),
                           lines.numberOf(line), "coordinate");
        }
    }
    for (std::size_t bond = 0; bond < bonds; ++bond, ++line) {
        table.bondTypes.push_back(parsed<int>(column(lines.at(line), bondTypeColumn, countWidth),
                                              lines.numberOf(line), "bond type"));
    }
    return table;
}

enum class V30Block { none, atoms, bonds };

V30Block blockOf(const std::vector<std::string_view> &words, V30Block current) {
    if (words.size() < 4) return current;
    if (words[2] == "END") return V30Block::none;
    if (words[2] != "BEGIN") return current;
    if (words[3] == "ATOM") return V30Block::atoms;
    return words[3] == "BOND" ? V30Block::bonds : current;
}

void readV30Line(const std::vector<std::string_view> &words, V30Block block, std::size_t number,
                 MdlTable &table) {
    const auto word = [&](std::size_t index) {
        return index < words.size() ? words[index] : std::string_view{};
    };
    if (block == V30Block::bonds) {
        table.bondTypes.push_back(parsed<int>(word(v30BondType), number, "bond type"));
        return;
    }
    ++table.atomCount;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        parsed<double>(word(v30FirstCoordinate + axis), number, "coordinate");
    }
}

MdlTable readV3000(const Lines &lines) {
    MdlTable table;
    V30Block block = V30Block::none;
    bool continued = false; // a line that ends with "-" goes on in the next one
    for (std::size_t line = countsLine + 1; line < lines.count(); ++line) {
        const auto text = trimmed(lines.at(line));
        const bool continuation = continued;
        continued = text.ends_with('-');
        const auto words = wordsOf(text);
        if (continuation || words.size() < 3 || words[1] != "V30") continue;
        const V30Block previous = block;
        block = blockOf(words, block);
        if (block == previous && block != V30Block::none) {
            readV30Line(words, block, lines.numberOf(line), table);
        }
    }
    return table;
}

} // namespace

std::vector<MdlRecord> splitMdlRecords(std::string_view text) {
    std::vector<MdlRecord> records;
    MdlRecord current{{}, 1};
    std::size_t lineNumber = 0;
    std::string line;
    for (std::istringstream stream{std::string(text)}; std::getline(stream, line);) {
        ++lineNumber;
        if (line.ends_with('\r')) line.pop_back();
        current.text += line + '\n';
        if (!line.starts_with(recordEnd)) continue;
        records.push_back(std::move(current));
        current = {{}, lineNumber + 1};
    }
    if (current.text.find_first_not_of(" \t\n") != std::string::npos) {
        records.push_back(std::move(current));
    }
    return records;
}

MdlTable readMdlTable(const MdlRecord &record) {
    const Lines lines(record);
    const bool v3000 = lines.at(countsLine).find("V3000") != std::string_view::npos;
    return v3000 ? readV3000(lines) : readV2000(lines);
}

} // namespace saddlefit::host
