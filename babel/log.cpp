#include "babel/log.hpp"

#include <openbabel/oberror.h>

namespace saddlefit::babel {

Log::Log() : previous_(OpenBabel::obErrorLog.GetOutputStream()) {
    OpenBabel::obErrorLog.ClearLog();
    OpenBabel::obErrorLog.SetOutputLevel(OpenBabel::obWarning);
    OpenBabel::obErrorLog.SetOutputStream(&text_);
}

Log::~Log() {
    OpenBabel::obErrorLog.SetOutputStream(previous_);
}

std::string Log::complaint() const {
    std::string result;
    std::string line;
    for (std::istringstream lines(text_.str()); std::getline(lines, line);) {
        if (line.starts_with("===") || line.starts_with("***")) continue;
        std::string word;
        for (std::istringstream words(line); words >> word;) {
            if (!result.empty()) result += ' ';
            result += word;
        }
    }
    return result;
}

} // namespace saddlefit::babel
