/// Results for programs: JSON on standard output.
#pragma once

#include "cli/host.hpp"
#include "host/system/json.hpp"

#include <cstdio>

namespace saddlefit::cli {

inline void printJson(const Json &object) {
    constexpr int indent = 2;
    std::printf("%s\n", jsonText(object, indent).c_str());
}

/// In a line of its own, for one of many.
inline void printJsonLine(const Json &object) {
    std::printf("%s\n", jsonText(object).c_str());
}

} // namespace saddlefit::cli
