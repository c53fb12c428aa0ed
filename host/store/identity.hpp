/// By what a record is known outside of its database.
#pragma once

#include "host/store/survey.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

/// XXH3 of 128 bits (Y. Collet, xxHash 0.8), in 32 hexadecimal digits: it tells any change that
/// happens, though not one that was made to deceive.
std::string digestOf(std::string_view bytes);

struct RecordIdentity {
    std::string name; ///< in UTF-8, as it stands in JSON
    std::string digest;
};

/// Of a record's bytes.
RecordIdentity identityOf(std::string_view record);

/// Of the sound records of a file, in file order.
std::vector<RecordIdentity> identitiesIn(const std::string &path, const Survey &survey);

} // namespace saddlefit::host
