/// JSON as the host writes it.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace saddlefit::host {

/// Members keep the order in which they were set.
using Json = nlohmann::ordered_json;

/// In one line without its newline. Text that is no UTF-8, as titles in files may be, is given with
/// replacement characters.
inline std::string jsonText(const Json &object, int indent = -1) {
    return object.dump(indent, ' ', false, Json::error_handler_t::replace);
}

/// What text becomes when it is written so.
inline std::string inUtf8(const std::string &text) {
    return Json::parse(jsonText(Json(text)));
}

} // namespace saddlefit::host
