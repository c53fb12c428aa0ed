#include "host/store/database_writer.hpp"

#include "host/system/error.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace saddlefit::host {

bool removeRecords(const Database &database, const std::vector<std::size_t> &positions) {
    OpenStoreWriter writer(openStoreWriter(database.path.c_str()));
    const auto remove = [&](std::size_t position) {
        return removeStored(writer.get(), &database.records.at(position)) == 1;
    };
    return writer && std::all_of(positions.begin(), positions.end(), remove) &&
           closeStoreWriter(writer.release()) == 1;
}

DatabaseWriter::DatabaseWriter(const std::string &path) : path_(path), file_(path), sides_(path) {
    requireWholeSideFile(path, sides_);
}

void DatabaseWriter::begin() {
    failure_ = EIO; // until all of it is copied: half a copy is nothing to add to
    file_.copyFromTarget();
    failure_ = 0;
    file_.write({}); // makes it where there was no target
    writer_.reset(openStoreWriter(file_.path().c_str()));
    if (!writer_) failure_ = errno;
}

void DatabaseWriter::place(std::string_view record) {
    if (!writer_ && failure_ == 0) begin();
    if (failure_ != 0) return; // which commit() tells
    const auto length = static_cast<std::uint32_t>(record.size());
    if (insertPacked(writer_.get(), record.data(), length) != 0) return;
    if (errno != EOVERFLOW) {
        failure_ = errno;
        return;
    }
    throw Error(ErrorKind::limit, "the database has no room for another record; a file ends at "
                                  "2 GiB, so begin a new one")
        .at({path_});
}

void DatabaseWriter::note(const SideRecord &known) {
    if (sides_.has(known.digest)) return;
    if (!writer_ && failure_ == 0) begin();
    sides_.add(known);
}

void DatabaseWriter::fail() const {
    failWriting(resolvedTarget(path_), std::strerror(failure_));
}

void DatabaseWriter::commit() {
    if (failure_ != 0) fail();
    if (!writer_) return;
    if (!closeStoreWriter(writer_.release())) {
        failure_ = errno;
        fail();
    }
    commitWithSides(file_, path_, sides_);
}

} // namespace saddlefit::host
