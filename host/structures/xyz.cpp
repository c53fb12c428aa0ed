#include "host/structures/xyz.hpp"

#include "host/structures/elements.hpp"
#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

namespace saddlefit::host {

namespace {

constexpr std::string_view blanks = " \t\r\f\v";
constexpr int lastElement = 118;

std::string_view nextWord(std::string_view &line) {
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    const auto word = line.substr(0, line.find_first_of(blanks));
    line.remove_prefix(word.size());
    return word;
}

bool isBlank(std::string_view line) {
    return nextWord(line).empty();
}

template <class Number> std::optional<Number> numberIn(std::string_view word) {
    Number value{};
    if (word.starts_with('+')) word.remove_prefix(1);
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc{} || end != word.data() + word.size()) return std::nullopt;
    return value;
}

[[noreturn]] void failAt(std::size_t line, std::string_view word, const std::string &what) {
    const auto found = word.empty() ? "nothing" : "\"" + std::string(word) + "\"";
    throw Error("line " + std::to_string(line) + ": " + found + " stands where " + what +
                " must; correct the line, or the count in front if the record is shorter");
}

// Walks a text line by line; all lines are whole but maybe the last.
class LineWalk {
public:
    LineWalk(std::string_view text, std::size_t firstLine) : rest_(text), number_(firstLine - 1) {}

    bool atEnd() const { return rest_.empty(); }
    std::size_t number() const { return number_; } // of the line that next() gave last

    std::string_view next() {
        const auto line = rest_.substr(0, rest_.find('\n'));
        rest_.remove_prefix(std::min(line.size() + 1, rest_.size()));
        ++number_;
        return line;
    }

private:
    std::string_view rest_;
    std::size_t number_;
};

std::optional<std::size_t> countIn(std::string_view line) {
    const auto count = numberIn<std::size_t>(nextWord(line));
    return isBlank(line) ? count : std::nullopt;
}

XyzRecord nextRecord(LineWalk &lines, std::string_view firstLine) {
    XyzRecord record;
    const auto number = std::to_string(lines.number());
    const auto count = countIn(firstLine);
    if (!count) {
        record.fault = "line " + number +
                       ": a count of atoms must stand here, alone; the record "
                       "before may have more lines than its count says";
        return record;
    }
    record.title = lines.next();
    record.firstAtomLine = lines.number() + 1;
    while (record.atomLines.size() < *count && !lines.atEnd())
        record.atomLines.push_back(lines.next());
    if (record.atomLines.size() == *count) return record;
    record.fault = "the record is broken: line " + number + " announces " + std::to_string(*count) +
                   " atoms, but the file ends after " + std::to_string(record.atomLines.size()) +
                   "; it may be cut off";
    return record;
}

int elementIn(std::string_view word, std::size_t line) {
    const auto number = numberIn<int>(word);
    const int element = number ? *number : elementNumber(word);
    if (element < 1 || element > lastElement) {
        failAt(line, word, "an element's symbol or number");
    }
    return element;
}

double coordinateIn(std::string_view word, std::size_t line) {
    const auto value = numberIn<double>(word);
    if (!value || !std::isfinite(*value)) failAt(line, word, "a coordinate");
    return *value;
}

StructureAtom atomIn(std::string_view text, std::size_t line) {
    StructureAtom atom;
    atom.element = elementIn(nextWord(text), line);
    auto &at = atom.position;
    for (double *axis : {&at.x, &at.y, &at.z})
        *axis = coordinateIn(nextWord(text), line);
    return atom;
}

bool isLetterOrDigit(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// What stands behind "key=", blanks allowed; nothing where the key is not there.
std::optional<std::string_view> wordBehind(std::string_view title, std::string_view key) {
    const auto sameLetter = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == b;
    };
    for (auto at = title.begin();; ++at) {
        at = std::search(at, title.end(), key.begin(), key.end(), sameLetter);
        if (at == title.end()) return std::nullopt;
        if (at != title.begin() && isLetterOrDigit(*(at - 1))) continue;
        std::string_view rest(at + static_cast<std::ptrdiff_t>(key.size()), title.end());
        rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
        if (!rest.starts_with('=')) continue;
        rest.remove_prefix(1);
        rest.remove_prefix(std::min(rest.find_first_not_of(" \t\"'"), rest.size()));
        return rest.substr(0, rest.find_first_of(" \t\"',;"));
    }
}

std::optional<int> wholeNumberBehind(std::string_view title, std::string_view key) {
    const auto word = wordBehind(title, key);
    if (!word) return std::nullopt;
    const auto value = numberIn<double>(*word);
    constexpr double most = 999;
    if (value && *value == std::round(*value) && std::abs(*value) <= most) {
        return static_cast<int>(*value);
    }
    throw Error("the title says " + std::string(key) + "=" + std::string(*word) +
                ", which is no whole number; correct it, or take it out");
}

} // namespace

ToldElectrons electronsInTitle(std::string_view title) {
    ToldElectrons told{wholeNumberBehind(title, "charge"), wholeNumberBehind(title, "uhf")};
    const auto multiplicity = wholeNumberBehind(title, "mult");
    if (multiplicity && told.unpaired.value_or(*multiplicity - 1) != *multiplicity - 1) {
        throw Error("the title's mult and uhf contradict each other; correct them, or leave one "
                    "out (mult is uhf and one)");
    }
    if (multiplicity) told.unpaired = *multiplicity - 1;
    if (told.unpaired.value_or(0) >= 0) return told;
    throw Error("the title tells of fewer than no unpaired electrons; correct mult or uhf");
}

bool countsAtoms(std::string_view line) {
    return countIn(line).has_value();
}

std::vector<RecordPlace> placesOfXyzRecords(const InputFile &file) {
    std::vector<RecordPlace> places;
    std::size_t lineNumber = 0, linesLeft = 0;
    bool isLost = false;
    file.forEachLine([&](const InputLine &line) {
        ++lineNumber;
        if (linesLeft == 0 && !isLost) {
            if (isBlank(line.text)) return;
            places.push_back({line.offset, 0, lineNumber});
            const auto count = countIn(line.text);
            isLost = !count || *count == std::numeric_limits<std::size_t>::max();
            linesLeft = isLost ? 0 : 1 + *count; // the title's, too
        } else if (linesLeft > 0) {
            --linesLeft;
        }
        places.back().size = line.end - places.back().offset;
    });
    return places;
}

XyzRecord xyzRecordIn(std::string_view text, std::size_t firstLine) {
    LineWalk lines(text, firstLine);
    return nextRecord(lines, lines.next());
}

std::vector<StructureAtom> readXyzAtoms(const XyzRecord &record) {
    std::vector<StructureAtom> atoms;
    atoms.reserve(record.atomLines.size());
    for (std::size_t line = record.firstAtomLine; const auto text : record.atomLines)
        atoms.push_back(atomIn(text, line++));
    return atoms;
}

bool namesIsotopes(const XyzRecord &record) {
    return std::any_of(record.atomLines.begin(), record.atomLines.end(), [](std::string_view line) {
        const auto symbol = nextWord(line);
        return symbol == "D" || symbol == "T";
    });
}

std::string xyzRecord(const std::string &title, const std::vector<StructureAtom> &atoms) {
    std::string text = std::to_string(atoms.size()) + "\n" + title + "\n";
    for (const auto &atom : atoms) {
        const auto &at = atom.position;
        text += formatted("%-3s %14.8f %14.8f %14.8f\n", elementSymbol(atom.element).c_str(), at.x,
                          at.y, at.z);
    }
    return text;
}

} // namespace saddlefit::host
