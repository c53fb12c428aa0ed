// usage: saddlefit_bench FAMILY [options of Google Benchmark]
#include "bench.hpp"

#include <iostream>
#include <map>

int main(int argc, char **argv) {
    const std::map<std::string, void (*)()> families{
        {"mapping", bench::addMapping},         {"superposition", bench::addSuperposition},
        {"stereo", bench::addStereo},           {"perception", bench::addPerception},
        {"constraints", bench::addConstraints}, {"database", bench::addScan}};
    const auto family = families.find(argc > 1 ? argv[1] : "");
    if (family == families.end()) {
        std::cerr << "usage: saddlefit_bench FAMILY [options]; families:";
        for (const auto &[name, add] : families)
            std::cerr << ' ' << name;
        std::cerr << '\n';
        return 2;
    }
    family->second();
    std::swap(argv[0], argv[1]);
    return bench::runBenchmarks(argc - 1, argv + 1);
}
