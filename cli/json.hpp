// Results for programs: one JSON object on standard output.
#ifndef SADDLEFIT_CLI_JSON_HPP
#define SADDLEFIT_CLI_JSON_HPP

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>

namespace saddlefit::cli {

// Members keep the order in which they were set.
using Json = nlohmann::ordered_json;

// Text that is no UTF-8, as titles in files may be, is printed with replacement characters.
inline void printJson(const Json &object) {
    constexpr int indent = 2;
    const auto text = object.dump(indent, ' ', false, Json::error_handler_t::replace);
    std::printf("%s\n", text.c_str());
}

// What text becomes when it is printed so.
inline std::string inUtf8(const std::string &text) {
    return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
}

// The same in a line of its own, for one of many.
inline void printJsonLine(const Json &object) {
    const auto text = object.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::printf("%s\n", text.c_str());
}

} // namespace saddlefit::cli

#endif
