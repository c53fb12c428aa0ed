#include "host/system/own_folders.hpp"

#include <dlfcn.h>

namespace saddlefit::host {

std::vector<std::filesystem::path> ownFolders() {
    namespace fs = std::filesystem;
    std::vector<fs::path> folders;
    std::error_code error;
    Dl_info info{};
    static const int anchor = 0;
    if (dladdr(&anchor, &info) != 0 && info.dli_fname != nullptr) {
        const auto file = fs::canonical(info.dli_fname, error);
        if (!error) folders.push_back(file.parent_path());
    }
    const auto program = fs::read_symlink("/proc/self/exe", error);
    if (!error) folders.push_back(program.parent_path());
    return folders;
}

} // namespace saddlefit::host
