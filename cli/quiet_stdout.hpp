#ifndef SADDLEFIT_CLI_QUIET_STDOUT_HPP
#define SADDLEFIT_CLI_QUIET_STDOUT_HPP

namespace saddlefit::cli {

// The library prints its progress on standard output, which here carries results. While one of
// these lives, standard output leads to standard error, or to nowhere.
class QuietStdout {
public:
    explicit QuietStdout(bool toStandardError);
    ~QuietStdout();
    QuietStdout(const QuietStdout &) = delete;
    QuietStdout &operator=(const QuietStdout &) = delete;

private:
    int saved_;
};

} // namespace saddlefit::cli

#endif
