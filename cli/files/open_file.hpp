// A stream that closes itself.
#ifndef SADDLEFIT_CLI_OPEN_FILE_HPP
#define SADDLEFIT_CLI_OPEN_FILE_HPP

#include <cstdio>
#include <memory>

namespace saddlefit::cli {

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, CloseFile>;

} // namespace saddlefit::cli

#endif
