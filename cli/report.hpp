/// How the program ends, and what it says of errors.
#pragma once

#include "cli/host.hpp"
#include "host/system/error.hpp"

#include <functional>
#include <string>

namespace saddlefit::cli {

/// Exit statuses of the program.
constexpr int allDone = 0;
constexpr int somethingFailed = 1;
constexpr int wrongUsage = 2;

/// The whole message, with the remedy in words of the options and commands that there are.
std::string messageOf(const Error &error);
std::string messageOf(const Warning &warning);

/// Print "saddlefit: MESSAGE" on standard error.
void report(const Error &error);

/// Tells of a file that another run holds, once it is waited for.
std::function<void()> reportingOfWait(const std::string &path);

} // namespace saddlefit::cli
