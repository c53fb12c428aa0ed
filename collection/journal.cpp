#include "collection/journal.hpp"

#include "host/structures/units.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace saddlefit::collection {

namespace {

namespace fs = std::filesystem;

/// The whole lines of a file; half a one at its end is cut off.
std::vector<std::string> wholeLines(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    const auto end = text.rfind('\n');
    const auto size = end == std::string::npos ? 0 : end + 1;
    if (size != text.size()) fs::resize_file(path, size);
    std::vector<std::string> lines;
    std::istringstream stream(text.substr(0, size));
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

void cutLast(const fs::path &path, const std::vector<std::string> &lines, std::size_t kept) {
    std::uintmax_t size = 0;
    for (std::size_t i = 0; i < kept; ++i)
        size += lines[i].size() + 1;
    fs::resize_file(path, size);
}

/// Six digits behind the point, which is more than the geometries are converged to.
Json rounded(const Eigen::VectorXd &coordinates) {
    Json numbers = Json::array();
    for (const double value : coordinates)
        numbers.push_back(std::round(1e6 * angstromPerBohr * value) / 1e6);
    return numbers;
}

Eigen::VectorXd coordinatesFrom(const Json &numbers) {
    Eigen::VectorXd coordinates(static_cast<Eigen::Index>(numbers.size()));
    for (std::size_t i = 0; i < numbers.size(); ++i)
        coordinates[static_cast<Eigen::Index>(i)] = numbers[i].get<double>() / angstromPerBohr;
    return coordinates;
}

Json drawingJson(const LewisStructure &drawing) {
    Json bonds = Json::array();
    for (const auto &[pair, order] : drawing.orders)
        bonds.push_back({pair.first, pair.second, order});
    return {{"bonds", bonds}, {"charges", drawing.charges}};
}

LewisStructure drawingFrom(const Species &species, const Json &json) {
    BondOrders orders;
    for (const auto &bond : json.at("bonds"))
        orders[{bond[0].get<int>(), bond[1].get<int>()}] = bond[2].get<int>();
    auto drawing = drawn(species, orders);
    if (!drawing) throw Error("a record's bonds make no molecule");
    return *drawing;
}

double roundedTo(double value, double steps) {
    return std::round(value * steps) / steps;
}

} // namespace

std::string textOf(const AttemptLine &line) {
    return line.entry + "\t" + std::to_string(line.number) + "\t" + line.family + "\t" +
           line.outcome + "\t" + line.hash + "\t" + std::to_string(line.gradients);
}

AttemptLine attemptFrom(const std::string &text) {
    std::istringstream stream(text);
    AttemptLine line;
    std::string number, gradients;
    std::getline(stream, line.entry, '\t');
    std::getline(stream, number, '\t');
    std::getline(stream, line.family, '\t');
    std::getline(stream, line.outcome, '\t');
    std::getline(stream, line.hash, '\t');
    std::getline(stream, gradients, '\t');
    line.number = std::stoi(number);
    line.gradients = std::stoi(gradients);
    return line;
}

Json recordOf(const VerifiedSaddle &saddle) {
    const double forward = kcalPerHartree * (saddle.saddleEnergy - saddle.reactantEnergy);
    const double backward = kcalPerHartree * (saddle.saddleEnergy - saddle.productEnergy);
    return {{"hash", saddle.hash},
            {"reactant_smiles", smilesOf(saddle.species, saddle.reactant)},
            {"product_smiles", smilesOf(saddle.species, saddle.product)},
            {"charge", saddle.species.charge},
            {"energy_hartree", roundedTo(saddle.saddleEnergy, 1e8)},
            {"reactant_energy_hartree", roundedTo(saddle.reactantEnergy, 1e8)},
            {"product_energy_hartree", roundedTo(saddle.productEnergy, 1e8)},
            {"barrier_kcal", roundedTo(forward, 100)},
            {"reverse_barrier_kcal", roundedTo(backward, 100)},
            {"wavenumber_cm1", roundedTo(saddle.wavenumber, 10)},
            {"next_wavenumber_cm1", roundedTo(saddle.nextWavenumber, 10)},
            {"mode_share", roundedTo(saddle.modeShare, 1000)},
            {"carbenes", std::max(saddle.reactant.carbenes, saddle.product.carbenes)},
            {"elements", saddle.species.elements},
            {"reactant", drawingJson(saddle.reactant)},
            {"product", drawingJson(saddle.product)},
            {"at_reactant", rounded(saddle.atReactant)},
            {"at_saddle", rounded(saddle.atSaddle)},
            {"at_product", rounded(saddle.atProduct)}};
}

VerifiedSaddle saddleFrom(const Json &record) {
    VerifiedSaddle saddle;
    saddle.hash = record.at("hash");
    saddle.species = {record.at("elements").get<std::vector<int>>(), record.at("charge"), 0};
    saddle.reactant = drawingFrom(saddle.species, record.at("reactant"));
    saddle.product = drawingFrom(saddle.species, record.at("product"));
    saddle.atReactant = coordinatesFrom(record.at("at_reactant"));
    saddle.atSaddle = coordinatesFrom(record.at("at_saddle"));
    saddle.atProduct = coordinatesFrom(record.at("at_product"));
    saddle.saddleEnergy = record.at("energy_hartree");
    saddle.reactantEnergy = record.at("reactant_energy_hartree");
    saddle.productEnergy = record.at("product_energy_hartree");
    saddle.wavenumber = record.at("wavenumber_cm1");
    saddle.nextWavenumber = record.at("next_wavenumber_cm1");
    saddle.modeShare = record.at("mode_share");
    return saddle;
}

Journal::Journal(const std::string &folder) {
    fs::create_directories(folder);
    const fs::path attempts = fs::path(folder) / "attempts.tsv";
    const fs::path records = fs::path(folder) / "records.jsonl";
    for (const auto &path : {attempts, records})
        if (!fs::exists(path)) std::ofstream{path};
    for (const auto &line : wholeLines(attempts))
        note(attemptFrom(line));
    std::size_t wanted = 0;
    for (const auto &line : lines_)
        wanted += line.hasRecord() ? 1 : 0;
    const auto texts = wholeLines(records);
    if (texts.size() < wanted)
        throw Error(records.string() + " has fewer records than the attempts say; begin anew");
    if (texts.size() > wanted) cutLast(records, texts, wanted);
    for (std::size_t i = 0; i < wanted; ++i)
        keep(texts[i]);
    attemptsFile_ = std::fopen(attempts.c_str(), "ab");
    recordsFile_ = std::fopen(records.c_str(), "ab");
    if (attemptsFile_ == nullptr || recordsFile_ == nullptr)
        throw Error("the journal in " + folder + " cannot be written");
}

Journal::~Journal() {
    if (attemptsFile_ != nullptr) std::fclose(attemptsFile_);
    if (recordsFile_ != nullptr) std::fclose(recordsFile_);
}

void Journal::note(const AttemptLine &line) {
    lines_.push_back(line);
    if (line.number < 0) {
        closed_.insert(line.entry);
        return;
    }
    ++attempts_[line.entry];
    if (line.accepted()) ++accepted_[line.family];
}

void Journal::keep(const std::string &record) {
    records_.push_back(Json::parse(record));
    const double energy = records_.back().at("energy_hartree");
    const auto [known, isNew] = known_.emplace(records_.back().at("hash"), energy);
    if (!isNew) known->second = std::min(known->second, energy);
}

void Journal::add(const AttemptLine &line, const std::string &record) {
    if (line.hasRecord()) {
        std::fprintf(recordsFile_, "%s\n", record.c_str());
        std::fflush(recordsFile_);
        keep(record);
    }
    std::fprintf(attemptsFile_, "%s\n", textOf(line).c_str());
    std::fflush(attemptsFile_);
    note(line);
}

int Journal::acceptedOf(const std::string &family) const {
    const auto found = accepted_.find(family);
    return found == accepted_.end() ? 0 : found->second;
}

int Journal::attemptsOf(const std::string &entry) const {
    const auto found = attempts_.find(entry);
    return found == attempts_.end() ? 0 : found->second;
}

} // namespace saddlefit::collection
