#include "host/store/identity.hpp"

#include "host/store/record_bytes.hpp"
#include "host/system/json.hpp"
#include "host/system/text.hpp"

#include <algorithm>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace saddlefit::host {

std::string digestOf(std::string_view bytes) {
    const auto hash = XXH3_128bits(bytes.data(), bytes.size());
    return formatted("%016llx%016llx", static_cast<unsigned long long>(hash.high64),
                     static_cast<unsigned long long>(hash.low64));
}

RecordIdentity identityOf(std::string_view record) {
    const auto name = record.substr(0, record.find('\0', 2)); // behind its length
    return {inUtf8(std::string(name.substr(std::min<std::size_t>(2, name.size())))),
            digestOf(record)};
}

std::vector<RecordIdentity> identitiesIn(const std::string &path, const Survey &survey) {
    const RecordBytes file(path);
    std::vector<RecordIdentity> identities;
    for (const auto &[offset, bytes] : survey.records)
        identities.push_back(identityOf(file.at(offset, bytes)));
    return identities;
}

} // namespace saddlefit::host
