/// Many changes of a database file at once.
#pragma once

#include "host/store/database_file.hpp"
#include "host/store/side_file.hpp"
#include "host/system/output_file.hpp"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

struct CloseStoreWriter {
    void operator()(StoreWriter *writer) const { closeStoreWriter(writer); }
};
using OpenStoreWriter = std::unique_ptr<StoreWriter, CloseStoreWriter>;

/// Remove the records at these positions, all as they were before. False, with errno set, if the
/// file cannot be written.
bool removeRecords(const Database &database, const std::vector<std::size_t> &positions);

/// Adds to a copy of a database, which takes its place in the end, and to what stands beside it.
/// (The library's own way for one record opens the file each time and walks over all blocks before
/// it.)
class DatabaseWriter {
public:
    /// Throws Error if there can be no file beside the database, which may be missing, or if what
    /// stands beside it cannot be kept.
    explicit DatabaseWriter(const std::string &path);

    /// Store a record where the library would put it: into the first free block that is large
    /// enough, else at the end. Throws Error if it would come to lie where no search comes.
    void place(std::string_view record);

    /// What is known of a record that is stored or was placed; nothing if something is already.
    void note(const SideRecord &known);
    bool hasNote(const std::string &digest) const { return sides_.has(digest); }

    /// Put the copy in place, if anything was added. Throws Error if it could not be written.
    void commit();

private:
    void begin();
    [[noreturn]] void fail() const;

    std::string path_;
    OutputFile file_;
    SideLines sides_;
    OpenStoreWriter writer_;
    int failure_ = 0; ///< the errno of what could not be written
};

} // namespace saddlefit::host
