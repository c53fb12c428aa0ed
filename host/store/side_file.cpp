#include "host/store/side_file.hpp"

#include "host/store/database_file.hpp"
#include "host/system/error.hpp"
#include "host/system/input_file.hpp"

#include <filesystem>

namespace saddlefit::host {

namespace {

bool exists(const std::string &path) {
    std::error_code error;
    return std::filesystem::exists(path, error) && !error;
}

} // namespace

std::string sideFileOf(const std::string &database) {
    return resolvedTarget(database) + ".jsonl";
}

SideLines::SideLines(const std::string &database) {
    const auto path = sideFileOf(database);
    if (!exists(path)) return;
    std::size_t number = 0;
    InputFile(path).forEachLine([&](const InputLine &line) {
        ++number;
        try {
            if (!line.text.empty()) add(line.text);
        } catch (const Error &) {
            broken_.push_back(number);
        }
    });
}

void SideLines::add(std::string_view line) {
    auto head = sideLineHead(line);
    const auto digest = head.digest;
    byDigest_.emplace(digest, Line{std::move(head), std::string(line)});
}

void SideLines::add(const SideRecord &record) {
    add(sideLine(record));
}

std::optional<SideRecord> SideLines::find(const std::string &digest) const {
    const auto found = byDigest_.find(digest);
    if (found == byDigest_.end()) return std::nullopt;
    return sideRecordIn(found->second.text);
}

std::optional<SideRecord> SideLines::take(const std::string &digest) {
    auto record = find(digest);
    if (record) byDigest_.erase(byDigest_.find(digest));
    return record;
}

SideLines::Fit SideLines::fitTo(const std::vector<RecordIdentity> &records) const {
    std::multimap<std::string_view, const Line *> left;
    for (const auto &[digest, line] : byDigest_)
        left.emplace(digest, &line);
    Fit fit;
    for (const auto &record : records) {
        const auto found = left.find(record.digest);
        fit.lines.push_back(found == left.end() ? std::string_view() : found->second->text);
        if (found != left.end()) left.erase(found);
    }
    std::multimap<std::string_view, const Line *> byName;
    for (const auto &[digest, line] : left)
        byName.emplace(line->head.name, line);
    for (std::size_t i = 0; i < records.size(); ++i) {
        const auto found = fit.lines[i].empty() ? byName.find(records[i].name) : byName.end();
        fit.changed.push_back(found != byName.end());
        if (found == byName.end()) continue;
        fit.lines[i] = found->second->text;
        byName.erase(found);
    }
    for (const auto &[name, line] : byName)
        fit.orphans.push_back(line->head);
    return fit;
}

std::multimap<std::string, std::string> refusedRecords(const std::string &database) {
    std::multimap<std::string, std::string> digests;
    const auto take = [&](const InputLine &line) {
        try {
            auto head = sideLineHead(line.text);
            if (head.quality == Quality::refused) digests.emplace(head.name, head.digest);
        } catch (const Error &) { // no line of ours
        }
    };
    try {
        const auto path = sideFileOf(database);
        if (exists(path)) InputFile(path).forEachLine(take);
    } catch (const Error &) {
        digests.clear();
    }
    return digests;
}

void requireWholeSideFile(const std::string &database, const SideLines &lines) {
    if (lines.brokenLines().empty()) return;
    throw Error(ErrorKind::refused, "line " + std::to_string(lines.brokenLines().front()) +
                                        " is no side record of a database; mend or remove it, or "
                                        "move the file away")
        .at({sideFileOf(database)});
}

void commitWithSides(OutputFile &database, const std::string &target, const SideLines &lines) {
    const auto path = sideFileOf(target);
    if (lines.empty() && !exists(path)) {
        database.commit();
        return;
    }
    const auto &written = database.path();
    const auto fit = lines.fitTo(identitiesIn(written, surveyOf(*openStoreAt(written))));
    std::string text;
    for (const auto &line : fit.lines)
        if (!line.empty()) text.append(line).append("\n");
    OutputFile sides(path);
    sides.write(text);
    database.commit();
    sides.commit();
}

} // namespace saddlefit::host
