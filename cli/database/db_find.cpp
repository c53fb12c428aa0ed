#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "host/reactions/transitions.hpp"
#include "host/structures/elements.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/record_filter.hpp"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace saddlefit::cli {

namespace {

struct FindOptions : DbOptions {
    RecordFilter filter;
    std::string elements;
    std::string barrier;
};

std::set<int> elementsIn(const std::string &text) {
    std::set<int> elements;
    std::istringstream symbols(text);
    for (std::string symbol; std::getline(symbols, symbol, ',');) {
        const int element = elementNumber(symbol);
        if (element == 0)
            throw Error("--elements: \"" + inOneLine(symbol) +
                        "\" is no element; give symbols "
                        "parted by commas, as C,N,Cl");
        elements.insert(element);
    }
    return elements;
}

// "10..30", "10.." or "..30".
void takeRange(const std::string &text, double &low, double &high) {
    const auto dots = text.find("..");
    const auto take = [&](const std::string &part, double &value) {
        if (part.empty()) return true;
        char *end = nullptr;
        value = std::strtod(part.c_str(), &end);
        return *end == '\0';
    };
    if (dots != text.npos && take(text.substr(0, dots), low) && take(text.substr(dots + 2), high))
        return;
    throw Error("--barrier: \"" + inOneLine(text) +
                "\" is no range; give kcal/mol as 10..30, or "
                "one end of it alone");
}

std::string figure(const std::optional<double> &value) {
    return value ? formatted("%.1f", *value) : "-";
}

void printLine(std::size_t position, const CatalogueEntry &entry) {
    const auto &[record, known] = entry;
    const auto text = [](const std::string &value) {
        return value.empty() ? std::string("-") : inOneLine(value);
    };
    std::printf("%zu\t%s\t%s\t%zu atoms\t%s\t%s\t%s\n", position, inOneLine(record.name).c_str(),
                codeInSymbols(record.code.data()).c_str(), record.atoms.size(),
                known ? wordOf(known->quality) : "-", text(known ? known->level : "").c_str(),
                figure(known ? known->barrier : std::nullopt).c_str());
}

Json entryAsJson(std::size_t position, const CatalogueEntry &entry) {
    const auto &[record, known] = entry;
    return {{"position", position},
            {"name", record.name},
            {"code", codeInSymbols(record.code.data())},
            {"atoms", record.atoms.size()},
            {"known", known ? Json::parse(sideLine(*known)) : Json(nullptr)}};
}

int find(const FindOptions &options) {
    auto filter = options.filter;
    filter.elements = elementsIn(options.elements);
    if (!options.barrier.empty())
        takeRange(options.barrier, filter.lowestBarrier, filter.highestBarrier);
    const Catalogue catalogue(options.database);
    Json entries = Json::array();
    int status = allDone;
    for (std::size_t position = 0; position < catalogue.count(); ++position) {
        const auto reading = catalogue.read(position);
        if (const auto *damage = std::get_if<Damage>(&reading)) {
            report(damageError(options.database, position, *damage));
            status = somethingFailed;
            continue;
        }
        const auto &entry = std::get<CatalogueEntry>(reading);
        if (!filter.admits(entry)) continue;
        if (options.json) entries.push_back(entryAsJson(position, entry));
        if (!options.json) printLine(position, entry);
    }
    if (options.json) printJson({{"file", options.database}, {"records", entries}});
    return status;
}

} // namespace

void addDbFindCommand(CLI::App &db, Action &chosen) {
    const auto subcommand =
        addDbSubcommand(db, chosen, "find", "Print a line for each record of some kind", find);
    auto &command = subcommand.parser;
    auto &options = subcommand.options;
    auto &filter = options.filter;
    const auto add = [&command](const char *name, std::string &value, const char *text,
                                const char *type) {
        command.add_option(name, value, text)->type_name(type);
    };
    add("--code", filter.code, "Elements of the changing bonds: \"C-N C-O\"", "PAIRS");
    add("--elements", options.elements, "Elements that all occur: C,N,Cl", "LIST");
    add("--smiles", filter.smarts, "SMILES or SMARTS that the reactant or the product has", "TEXT");
    add("--name", filter.name, "Part of the name", "TEXT");
    add("--level", filter.level, "Part of the level of theory", "TEXT");
    add("--family", filter.family, "Part of the family", "TEXT");
    add("--barrier", options.barrier, "Barriers in kcal/mol: 10..30, 10.., ..30", "RANGE");
    command.add_flag_callback(
        "--refused", [&filter] { filter.quality = Quality::refused; },
        "Records that are marked as refused");
    command.footer(
        "All conditions that are given have to be met. The columns, parted by tabs: position,\n"
        "name, elements of the changing bonds, atoms, quality, level, barrier.\n\n"
        "Examples:\n"
        "  saddlefit db find reactions.db --code \"C-Cl C-N\" --barrier ..25\n"
        "  saddlefit db find reactions.db --smiles \"C=CC=C\" --json");
}

} // namespace saddlefit::cli
