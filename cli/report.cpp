#include "cli/report.hpp"

#include <cstdio>

namespace saddlefit::cli {

namespace {

const char *wordsOf(Remedy remedy) {
    switch (remedy) {
    case Remedy::none:
        break;
    case Remedy::charge:
        return ", --charge sets it";
    case Remedy::spin:
        return ", --uhf sets it";
    case Remedy::chargeOrSpin:
        return "; give --charge, or --uhf 1 if it is a radical";
    case Remedy::bondsOfLibrary:
        return ", or let --bonds saddlefit find them";
    case Remedy::inputFormat:
        return "; --input-format names that of \"-\" and of files without an extension";
    case Remedy::electrons:
        return "; correct --charge or --uhf";
    case Remedy::harmonisedOrders:
        return ", or use --orders harmonised";
    case Remedy::noRelaxation:
        return ", or use --relax none";
    case Remedy::otherRelaxation:
        return "; use --relax xtb or --relax none";
    case Remedy::makeDatabase:
        return ", or make one with \"saddlefit db add\"";
    case Remedy::makeOrCheckDatabase:
        return ", make one with \"saddlefit db add\", or see with \"saddlefit db check\" what is "
               "wrong";
    case Remedy::orderOfAtoms:
        return ", or say --map order";
    case Remedy::listDatabase:
        return ", see \"saddlefit db list\"";
    case Remedy::salvageDatabase:
        return "; \"saddlefit db salvage\" copies what can be read into a new file";
    }
    return "";
}

} // namespace

std::string messageOf(const Error &error) {
    return std::string(error.what()) + wordsOf(error.remedy());
}

std::string messageOf(const Warning &warning) {
    return warning.text + wordsOf(warning.remedy);
}

void report(const Error &error) {
    std::fflush(stdout);
    std::fprintf(stderr, "saddlefit: %s\n", messageOf(error).c_str());
}

std::function<void()> reportingOfWait(const std::string &path) {
    return [path] {
        report(Error("another run is changing this file; waiting until it has ended").at({path}));
    };
}

} // namespace saddlefit::cli
