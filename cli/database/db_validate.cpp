#include "cli/batch/batch.hpp"
#include "cli/database/db_commands.hpp"
#include "cli/order_option.hpp"
#include "cli/report.hpp"
#include "host/answers/json.hpp"
#include "host/store/database_file.hpp"
#include "host/structures/labels.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/validation.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

namespace saddlefit::cli {

namespace {

constexpr std::size_t worstShown = 10;

struct ValidateOptions : DbOptions {
    LeaveOut leaveOut = LeaveOut::record;
    BatchOptions batch;
};

// ---- checks on their way from a worker ----------------------------------------------------------

std::string asText(const RecordCheck &check) {
    Json ends = Json::array();
    for (const auto &[atoms, predicted, stored] : check.ends)
        ends.push_back({atoms.first, atoms.second, predicted, stored});
    const Json object{{"position", check.position},
                      {"problem", check.problem},
                      {"asked", check.asked},
                      {"from", check.from ? Json(*check.from) : Json(nullptr)},
                      {"ends", ends}};
    return jsonText(object);
}

RecordCheck checkIn(const std::string &text) {
    const auto object = Json::parse(text);
    RecordCheck check;
    object.at("position").get_to(check.position);
    object.at("problem").get_to(check.problem);
    object.at("asked").get_to(check.asked);
    if (!object.at("from").is_null()) check.from = object.at("from").get<std::size_t>();
    for (const auto &end : object.at("ends")) {
        const AtomPair atoms{end.at(0).get<int>(), end.at(1).get<int>()};
        check.ends.push_back({atoms, end.at(2).get<double>(), end.at(3).get<double>()});
    }
    return check;
}

Delivery delivered(const RecordCheck &check) {
    Delivery delivery;
    delivery.failed = !check.problem.empty();
    delivery.pieces = {asText(check)};
    return delivery;
}

// ---- what they come to --------------------------------------------------------------------------

double errorOf(const BondPrediction &end) {
    return std::abs(end.predicted - end.stored);
}

const BondPrediction &worstEnd(const RecordCheck &check) {
    return *std::max_element(
        check.ends.begin(), check.ends.end(),
        [](const auto &end, const auto &other) { return errorOf(end) < errorOf(other); });
}

// Of ascending values, between those around it where the share falls between two; 0 without any.
double quantile(const std::vector<double> &values, double share) {
    if (values.empty()) return 0.0;
    const double place = share * static_cast<double>(values.size() - 1);
    const auto low = static_cast<std::size_t>(place);
    const auto high = std::min(low + 1, values.size() - 1);
    return std::lerp(values[low], values[high], place - std::floor(place));
}

struct Summary {
    std::vector<RecordCheck> problems; // by position
    std::size_t asked = 0;             // how many were left out and asked for
    std::size_t matched = 0;           // how many of these had an answer
    std::vector<double> errors;        // of all made and broken bonds, ascending
    std::vector<RecordCheck> worst;    // largest error of a bond first

    double coverage() const {
        return asked == 0 ? 0.0 : static_cast<double>(matched) / static_cast<double>(asked);
    }
    double mean() const {
        return std::accumulate(errors.begin(), errors.end(), 0.0) /
               static_cast<double>(errors.size());
    }
};

Summary summaryOf(std::vector<RecordCheck> checks) {
    std::sort(checks.begin(), checks.end(),
              [](const auto &a, const auto &b) { return a.position < b.position; });
    Summary summary;
    for (const auto &check : checks) {
        if (!check.problem.empty()) summary.problems.push_back(check);
        if (check.asked) ++summary.asked;
        if (check.from) ++summary.matched;
        if (!check.ends.empty()) summary.worst.push_back(check);
        for (const auto &end : check.ends)
            summary.errors.push_back(errorOf(end));
    }
    std::sort(summary.errors.begin(), summary.errors.end());
    auto &worst = summary.worst;
    std::stable_sort(worst.begin(), worst.end(), [](const auto &a, const auto &b) {
        return errorOf(worstEnd(a)) > errorOf(worstEnd(b));
    });
    worst.resize(std::min(worst.size(), worstShown));
    return summary;
}

// ---- telling it ---------------------------------------------------------------------------------

class Telling {
public:
    Telling(const Database &database, const Summary &summary)
        : database_(database), summary_(summary) {}

    void reportProblems() const {
        for (const auto &check : summary_.problems) {
            report(Error(check.problem)
                       .at({database_.path, check.position, inOneLine(nameAt(check.position))}));
        }
    }

    void print() const {
        const std::size_t records = database_.records.size();
        std::printf("%zu records, %zu answer for themselves\n", records,
                    records - summary_.problems.size());
        std::printf("left out: %zu of %zu have a match (%.1f %%)\n", summary_.matched,
                    summary_.asked, 100.0 * summary_.coverage());
        const auto &errors = summary_.errors;
        if (errors.empty()) return;
        std::printf("%zu made and broken bonds, error: mean %.3f, median %.3f, 90th percentile "
                    "%.3f angstrom\n",
                    errors.size(), summary_.mean(), quantile(errors, 0.5), quantile(errors, 0.9));
        for (const auto &check : summary_.worst)
            printWorst(check);
    }

    Json asJson() const {
        const auto &errors = summary_.errors;
        const auto figure = [&](double value) {
            return errors.empty() ? Json(nullptr) : Json(value);
        };
        Json object{{"file", database_.path},
                    {"records", database_.records.size()},
                    {"exact", database_.records.size() - summary_.problems.size()},
                    {"problems", Json::array()},
                    {"leftOut", summary_.asked},
                    {"matched", summary_.matched},
                    {"coverage", summary_.coverage()},
                    {"bonds", errors.size()},
                    {"meanError", figure(summary_.mean())},
                    {"medianError", figure(quantile(errors, 0.5))},
                    {"percentile90", figure(quantile(errors, 0.9))},
                    {"worst", Json::array()}};
        for (const auto &check : summary_.problems) {
            object["problems"].push_back({{"position", check.position},
                                          {"name", nameAt(check.position)},
                                          {"problem", check.problem}});
        }
        for (const auto &check : summary_.worst)
            object["worst"].push_back(worstAsJson(check));
        return object;
    }

private:
    void printWorst(const RecordCheck &check) const {
        const auto record = recordAt(database_, check.position);
        const auto &end = worstEnd(check);
        std::printf("%zu\t%s\t%.3f\t%s\t%.3f\t%.3f\tfrom %s\n", check.position,
                    inOneLine(record.name).c_str(), errorOf(end),
                    bondLabel(record.atoms, end.atoms).c_str(), end.predicted, end.stored,
                    inOneLine(nameAt(*check.from)).c_str());
    }

    Json worstAsJson(const RecordCheck &check) const {
        const auto &end = worstEnd(check);
        return {{"position", check.position},
                {"name", nameAt(check.position)},
                {"error", errorOf(end)},
                {"atoms", Json::array({end.atoms.first + 1, end.atoms.second + 1})},
                {"predicted", end.predicted},
                {"stored", end.stored},
                {"from", nameAt(*check.from)},
                {"fromPosition", *check.from}};
    }

    // Empty for a damaged record.
    std::string nameAt(std::size_t position) const {
        const auto reading = database_.read(position);
        const auto *record = std::get_if<StoredRecord>(&reading);
        return record == nullptr ? "" : record->name;
    }

    const Database &database_;
    const Summary &summary_;
};

// ---- the command --------------------------------------------------------------------------------

int validate(const ValidateOptions &options) {
    const auto database = openDatabase(options.database);
    const Validation validation(database, options.leaveOut);
    const auto work = [&](std::size_t position) { return delivered(validation.check(position)); };
    const auto mishap = [](std::size_t position, const std::string &what) {
        RecordCheck check;
        check.position = position;
        check.problem = what + " over it";
        return delivered(check);
    };
    const auto positions = validation.positions();
    std::vector<RecordCheck> checks;
    const auto keep = [&](const Delivery &delivery) {
        for (const auto &piece : delivery.pieces)
            checks.push_back(checkIn(piece));
    };
    const auto batch = runBatch(positions, work, mishap, options.batch, {}, keep);
    if (batch.interrupted) {
        std::fprintf(stderr, "saddlefit: interrupted, %zu of %zu records checked\n", batch.done,
                     positions.size());
        return somethingFailed;
    }
    for (const auto &[position, what] : validation.damaged()) {
        auto &check = checks.emplace_back();
        check.position = position;
        check.problem = what;
    }
    const auto summary = summaryOf(std::move(checks));
    const Telling telling(database, summary);
    telling.reportProblems();
    if (options.json) printJson(telling.asJson());
    if (!options.json) telling.print();
    return summary.problems.empty() ? allDone : somethingFailed;
}

} // namespace

void addDbValidateCommand(CLI::App &db, Action &chosen) {
    const auto [command, options] =
        addDbSubcommand(db, chosen, "validate", "Ask a database for its own records", validate);
    command.add_option("-j,--jobs", options.batch.jobs, "Worker processes")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str();
    addChoice(
        command, "--leave-out", options.leaveOut,
        "Predict each record from all others (default), or from those of other families, which "
        "FILE.jsonl names");
    command.footer(
        "Each record is asked for with its own coordinates, and must answer exactly, or an equal\n"
        "one. Then it is left out, and the rest is asked: printed are how many have a match, the\n"
        "errors of their made and broken bonds, and the ten worst records, their columns parted "
        "by\n"
        "tabs: position, name, error, bond, predicted and stored length in angstrom, match.\n\n"
        "Example:\n"
        "  saddlefit db validate reactions.db -j 8");
}

} // namespace saddlefit::cli
