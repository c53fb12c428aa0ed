// What a person is told when something is wrong: where it is, what is wrong, what to do.
#ifndef SADDLEFIT_CLI_ERRORS_HPP
#define SADDLEFIT_CLI_ERRORS_HPP

#include <stdexcept>

namespace saddlefit::cli {

// Exit statuses of the program.
constexpr int allDone = 0;
constexpr int somethingFailed = 1;
constexpr int wrongUsage = 2;

// Thrown with a complete message; main() or the loop over the records prints it.
class UserError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Print "saddlefit: MESSAGE" on standard error.
void report(const UserError &error);

} // namespace saddlefit::cli

#endif
