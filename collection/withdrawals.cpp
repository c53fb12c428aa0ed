#include "collection/withdrawals.hpp"

#include "host/store/side_file.hpp"
#include "host/upkeep/intake.hpp"
#include "host/upkeep/known_facts.hpp"
#include "host/upkeep/validation.hpp"

#include <filesystem>
#include <fstream>

namespace saddlefit::collection {

namespace {

void removeDatabase(const std::string &path) {
    std::filesystem::remove(path);
    std::filesystem::remove(sideFileOf(path));
}

} // namespace

Withdrawals::Withdrawals(const std::string &folder) : path_(folder + "/withdrawn.tsv") {
    if (!std::filesystem::exists(path_)) return;
    std::ifstream file(path_);
    if (!file) throw Error(path_ + " cannot be read");
    for (std::string hash, reason; std::getline(file, hash, '\t') && std::getline(file, reason);)
        reasons_[hash] = reason;
}

void Withdrawals::add(const std::string &hash, const std::string &reason) {
    if (!reasons_.emplace(hash, reason).second) return;
    std::ofstream file(path_, std::ios::app);
    file << hash << '\t' << reason << '\n';
    if (!file.flush()) throw Error(path_ + " cannot be written");
}

std::map<std::string, std::string> faultsAsDatabase(const std::vector<ShippedRecord> &records,
                                                    const ReactionFiles &files,
                                                    const std::string &folder) {
    const auto path = folder + "/shipped.db";
    removeDatabase(path);
    std::map<std::string, std::string> faults;
    std::vector<std::string> stored; // hashes, by position
    Intake intake(path, false);
    // Orders as "db add" takes them where nothing else is said.
    const ReactionReader reader(files, Start::file, Orders::harmonised, {PairBy::order, {}});
    for (std::size_t i = 0; i < records.size(); ++i) {
        const std::string hash = records[i].record.at("hash");
        const auto reaction = reader.read(i).front();
        const auto result = intake.take(reaction, knownFactsOf(reaction, {}));
        if (result.became == Intaken::refused)
            faults[hash] = result.objections.back().text;
        else
            stored.push_back(hash);
    }
    intake.commit();
    const auto database = openDatabase(path);
    const Validation validation(database);
    for (const auto position : validation.positions()) {
        const auto problem = validation.check(position).problem;
        if (!problem.empty()) faults[stored[position]] = problem.substr(0, problem.find("; "));
    }
    removeDatabase(path);
    return faults;
}

} // namespace saddlefit::collection
