#ifndef SADDLEFIT_CLI_DATABASE_FILE_HPP
#define SADDLEFIT_CLI_DATABASE_FILE_HPP

#include <string>
#include <vector>

namespace saddlefit::cli {

// Throws UserError unless the file exists, can be read, and is laid out as a reaction database:
// the library itself takes a file that it cannot read for an empty one.
void requireDatabase(const std::string &path);

// The names of its records, in file order.
std::vector<std::string> recordNames(const std::string &path);

} // namespace saddlefit::cli

#endif
