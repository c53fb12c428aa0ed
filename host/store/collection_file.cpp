#include "host/store/collection_file.hpp"

#include "host/system/own_folders.hpp"

#include <array>
#include <unistd.h>

namespace saddlefit::host {

std::string collectionFile() {
    constexpr std::array places{"../share/saddlefit", "../../share/saddlefit",
                                "../../../share/saddlefit", "share/saddlefit"};
    constexpr const char *name = "collection.db";
    for (const auto &folder : ownFolders()) {
        for (const char *place : places) {
            const auto path = (folder / place / name).lexically_normal();
            if (access(path.c_str(), R_OK) == 0) return path.string();
        }
    }
    const std::string installed = SADDLEFIT_DATADIR "/saddlefit/" + std::string(name);
    return access(installed.c_str(), R_OK) == 0 ? installed : std::string{};
}

} // namespace saddlefit::host
