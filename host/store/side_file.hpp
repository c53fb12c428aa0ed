/// The file beside a database that says where its records come from.
#pragma once

#include "host/store/identity.hpp"
#include "host/store/side_record.hpp"
#include "host/system/output_file.hpp"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

/// "FILE.jsonl", beside the file that symbolic links lead to.
std::string sideFileOf(const std::string &database);

/// Side records in their lines, found by the digest of their record. Lines stay byte for byte as
/// they are.
class SideLines {
public:
    SideLines() = default;

    /// What stands beside a database; nothing where there is no such file. Lines that are no side
    /// records are counted and left out. Throws Error if the file cannot be read.
    explicit SideLines(const std::string &database);

    void add(const SideRecord &record);
    void add(std::string_view line);

    bool empty() const { return byDigest_.empty(); }
    bool has(const std::string &digest) const { return byDigest_.contains(digest); }

    /// Numbers of lines that are no side records, from 1.
    const std::vector<std::size_t> &brokenLines() const { return broken_; }

    /// The first one of the record. Throws Error as sideRecordIn() does.
    std::optional<SideRecord> find(const std::string &digest) const;

    /// The same, and the line is gone.
    std::optional<SideRecord> take(const std::string &digest);

    /// How well the lines and the records fit.
    struct Fit {
        std::vector<std::string_view> lines; ///< by record; empty where it has none
        std::vector<bool> changed;           ///< by record: the line is of its name, not its bytes
        std::vector<SideLineHead> orphans;   ///< lines without a record
    };

    /// A line belongs to the record with its digest. A line without one belongs, if it has its
    /// name, to a record that has no line: the record's bytes were changed.
    Fit fitTo(const std::vector<RecordIdentity> &records) const;

private:
    struct Line {
        SideLineHead head;
        std::string text;
    };
    std::multimap<std::string, Line> byDigest_;
    std::vector<std::size_t> broken_;
};

/// Names and digests of the records that were refused, by what stands beside a database: a record
/// of that name may be one of them. Empty without such a file, or one that cannot be read.
std::multimap<std::string, std::string> refusedRecords(const std::string &database);

/// Throws Error, with what to do, if a line in what stands beside a database is no side record:
/// whoever wrote the file anew would lose it.
void requireWholeSideFile(const std::string &database, const SideLines &lines);

/// Put the new contents of a database in its place, then of these lines those that belong to its
/// records, in their order, beside it. A run that is killed between the two leaves records without
/// a line, and lines without a record, which mean nothing and go with the next change.
void commitWithSides(OutputFile &database, const std::string &target, const SideLines &lines);

} // namespace saddlefit::host
