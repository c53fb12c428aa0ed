/// Databases written anew.
#pragma once

#include "host/store/side_file.hpp"
#include "host/store/survey.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

/// Records of a file, each in a block of exactly its size.
std::string packedBlocks(std::string_view bytes, const std::vector<RecordSpan> &records);

/// Put blocks in place of a database, or where there is none yet, and beside them the lines that
/// belong to their records. Throws Error if they cannot be written.
void writeDatabase(const std::string &path, const std::string &blocks, const SideLines &sides);

/// Give a record another name, and so another digest. The records keep their order; the file is
/// packed. Throws Error if the file is damaged or cannot be written, and for a name that no record
/// can have.
void renameRecord(const std::string &path, std::size_t position, const std::string &name);

} // namespace saddlefit::host
