/// The program as a process, in a folder of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>

namespace saddlefit::test {

inline std::string contentsOf(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

inline bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

/// A line of a file with fixed columns.
template <class... Values> std::string columns(const char *format, Values... values) {
    std::array<char, 128> buffer{};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(buffer.data(), buffer.size(), format, values...);
#pragma GCC diagnostic pop
    return buffer.data();
}

struct Answer {
    int status = -1;
    std::string out, err;
};

class CommandLineTest : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "saddlefit-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string file(const std::string &name) const { return folder_ + "/" + name; }
    std::string contents(const std::string &name) const { return contentsOf(file(name)); }
    void write(const std::string &name, const std::string &bytes) const {
        std::ofstream(file(name), std::ios::binary) << bytes;
    }

    /// Runs it in the folder, so that plain names are files there.
    Answer run(const std::string &arguments) const {
        const std::string command =
            "cd " + folder_ + " && " SADDLEFIT_CLI " " + arguments + " > stdout 2> stderr";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents("stdout"),
                contents("stderr")};
    }

private:
    std::string folder_;
};

} // namespace saddlefit::test
