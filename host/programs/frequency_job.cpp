#include "host/programs/frequency_job.hpp"

#include "host/programs/printed_text.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/units.hpp"
#include "host/system/error.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>

namespace saddlefit::host {

namespace {

using Words = std::vector<std::string>;

double valueOf(const std::string &word) {
    return numberIn(word).value_or(0.0);
}

/// psi4 writes imaginary ones as "1248.7i".
double wavenumberIn(const std::string &word) {
    return word.ends_with('i') ? -valueOf(word.substr(0, word.size() - 1)) : valueOf(word);
}

/// Reads line by line; what is not understood is passed over.
class Reading {
public:
    explicit Reading(const std::string &text) : lines_(text) {}

    std::optional<FrequencyJob> run() {
        while (next())
            takeLine();
        if (job_.modes.empty()) return std::nullopt;
        settle();
        return std::move(job_);
    }

private:
    bool next() { return static_cast<bool>(std::getline(lines_, line_)); }
    bool has(const char *text) const { return line_.find(text) != std::string::npos; }
    void skip(int lines) {
        for (int i = 0; i < lines; ++i)
            next();
    }

    void takeLine() {
        if (has("orientation:"))
            takeAtoms(4, 1, 3, 1.0);
        else if (has("Geometry (in Angstrom)"))
            takeAtoms(3, 0, 1, 1.0);
        else if (has("- Atom information -"))
            takeAtoms(2, 0, 2, angstromPerBohr);
        else if (line_ == "$atoms")
            takeAtoms(1, 0, 2, angstromPerBohr);
        else if (has(" Frequencies --"))
            takeBlock("Gaussian", 2, [this] { return findLine(" Atom"); });
        else if (has("Freq [cm^-1]"))
            takeBlock("psi4", 2, [this] { return findLine("-----"); });
        else if (has("P.Frequency"))
            takeTable("NWChem");
        else if (line_ == "$vibrational_frequencies")
            takeOrcaFrequencies();
        else if (line_ == "$normal_modes")
            takeOrcaModes();
    }

    /// Of a table behind some lines of its head: the element's column and that of x.
    void takeAtoms(int head, std::size_t element, std::size_t x, double unit) {
        skip(head);
        atoms_.clear();
        while (next()) {
            const auto words = wordsIn(line_);
            if (words.size() < x + 3 || !numberIn(words[x + 2])) break;
            const auto &name = words[element];
            const int number = numberIn(name) ? std::atoi(name.c_str()) : elementNumber(name);
            atoms_.push_back({number,
                              0,
                              {unit * valueOf(words[x]), unit * valueOf(words[x + 1]),
                               unit * valueOf(words[x + 2])}});
        }
        isNewGeometry_ = true;
    }

    /// The first vibrations of a geometry take the place of those of the one before.
    void begin(const char *program, const Words &wavenumbers) {
        if (isNewGeometry_) {
            job_ = {program, atoms_, {}};
            isNewGeometry_ = false;
        }
        for (const auto &word : wavenumbers)
            job_.modes.push_back({wavenumberIn(word), {}});
    }

    bool findLine(const char *text) {
        while (next())
            if (has(text)) return true;
        return false;
    }

    /// Modes side by side, x y z each, with an atom per row.
    template <class FindRows>
    void takeBlock(const char *program, std::size_t namesInRow, const FindRows &findRows) {
        auto words = wordsIn(line_);
        words.erase(words.begin(), words.begin() + 2);
        begin(program, words);
        if (!findRows()) return;
        for (std::size_t atom = 0; atom < job_.atoms.size() && next(); ++atom) {
            const auto row = wordsIn(line_);
            if (row.size() < namesInRow + 3 * words.size()) return;
            for (std::size_t mode = 0; mode < words.size(); ++mode) {
                const auto *at = &row[namesInRow + 3 * mode];
                job_.modes[job_.modes.size() - words.size() + mode].displacements.push_back(
                    {valueOf(at[0]), valueOf(at[1]), valueOf(at[2])});
            }
        }
    }

    /// A mode per column, with a coordinate per row.
    void takeTable(const char *program) {
        auto words = wordsIn(line_);
        words.erase(words.begin());
        begin(program, words);
        skip(1);
        takeColumns(job_.modes.size() - words.size(), words.size());
    }

    void takeColumns(std::size_t first, std::size_t count) {
        for (std::size_t row = 0; row < 3 * job_.atoms.size() && next(); ++row) {
            const auto words = wordsIn(line_);
            if (words.size() < count + 1 || first + count > job_.modes.size()) return;
            for (std::size_t column = 0; column < count; ++column)
                put(job_.modes[first + column], row, valueOf(words[column + 1]));
        }
    }

    static void put(NormalMode &mode, std::size_t coordinate, double value) {
        auto &places = mode.displacements;
        if (coordinate % 3 == 0) places.emplace_back();
        if (places.empty()) return;
        (coordinate % 3 == 0   ? places.back().x
         : coordinate % 3 == 1 ? places.back().y
                               : places.back().z) = value;
    }

    // Of ORCA's file the atoms stand behind the modes.

    void takeOrcaFrequencies() {
        next();
        Words wavenumbers;
        for (int left = std::atoi(line_.c_str()); left > 0 && next(); --left) {
            const auto words = wordsIn(line_);
            if (words.size() == 2) wavenumbers.push_back(words[1]);
        }
        job_ = {"ORCA", std::vector<StructureAtom>(wavenumbers.size() / 3), {}};
        isNewGeometry_ = false;
        begin("ORCA", wavenumbers);
    }

    void takeOrcaModes() {
        skip(1);
        for (std::size_t first = 0; first < job_.modes.size() && next();) {
            const auto columns = wordsIn(line_).size();
            if (columns == 0) return;
            takeColumns(first, columns);
            first += columns;
        }
    }

    void settle() {
        if (job_.program == "ORCA") job_.atoms = atoms_;
        constexpr double noVibration = 1.0; // cm-1
        std::erase_if(job_.modes, [](const NormalMode &mode) {
            return std::abs(mode.wavenumber) < noVibration;
        });
        for (const auto &mode : job_.modes) {
            if (!job_.atoms.empty() && mode.displacements.size() == job_.atoms.size()) continue;
            throw Error("the vibrations have other atoms than the structure; the output may have "
                        "been cut off");
        }
        std::stable_sort(job_.modes.begin(), job_.modes.end(),
                         [](const auto &a, const auto &b) { return a.wavenumber < b.wavenumber; });
    }

    std::istringstream lines_;
    std::string line_;
    std::vector<StructureAtom> atoms_;
    bool isNewGeometry_ = false;
    FrequencyJob job_;
};

} // namespace

std::optional<FrequencyJob> frequencyJobIn(const std::string &text) {
    return Reading(text).run();
}

} // namespace saddlefit::host
