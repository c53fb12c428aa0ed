/// Runs a fuzzer's test over the files that it is given, and over all files of folders, where no
/// fuzzing engine is linked: so that every build repeats what fuzzing has found.
#include "tests/fuzz/bytes.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/resource.h>

#if defined(__has_feature) // clang's way to tell; g++ defines the macro by itself
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#endif

namespace {

/// The address sanitizer reserves terabytes, and has a limit of its own.
void limitMemory() {
#ifndef __SANITIZE_ADDRESS__
    // What no array of a test asks for, unless an absurd index is taken at its word.
    constexpr rlim_t mostMemory = rlim_t{4} << 30;
    const rlimit limit{mostMemory, mostMemory};
    setrlimit(RLIMIT_AS, &limit);
#endif
}

void run(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char **argv) {
    limitMemory();
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            run(argv[i]);
            ++count;
            continue;
        }
        for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
            run(entry.path());
            ++count;
        }
    }
    std::fprintf(stderr, "%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
