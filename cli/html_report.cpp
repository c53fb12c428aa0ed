#include "cli/html_report.hpp"

#include "cli/commands.hpp"
#include "cli/report.hpp"
#include "cli/result_file.hpp"
#include "cli/subcommand.hpp"
#include "host/answers/report_page.hpp"
#include "host/system/input_file.hpp"

#include <cstdio>
#include <filesystem>

namespace saddlefit::cli {

namespace {

namespace fs = std::filesystem;

struct ReportOptions {
    std::vector<std::string> files;
    std::string output;
};

void requireAnswer(const std::string &path, std::size_t number, std::string_view line) {
    const auto complaint = complaintAboutJsonLine(line);
    if (complaint.empty()) return;
    throw Error("line " + std::to_string(number) + " " + complaint +
                "; give files that \"saddlefit react --json\" wrote")
        .at({path});
}

std::string answersIn(const std::string &path) {
    std::string lines;
    std::size_t number = 0;
    InputFile(path).forEachLine([&](const InputLine &line) {
        ++number;
        if (line.text.find_first_not_of(" \t\r") == std::string_view::npos) return;
        requireAnswer(path, number, line.text);
        lines.append(line.text).append("\n");
    });
    return lines;
}

std::string titleOf(const std::vector<std::string> &files) {
    std::string title;
    for (const auto &file : files)
        title += (title.empty() ? "" : ", ") + fs::path(file).filename().string();
    return title;
}

// Beside the first file, under its name.
std::string outputOf(const ReportOptions &options) {
    if (!options.output.empty()) return options.output;
    return fs::path(options.files.front()).replace_extension(".html");
}

int writeReport(const ReportOptions &options) {
    const auto output = outputOf(options);
    for (const auto &file : options.files) {
        std::error_code error;
        if (fs::equivalent(file, output, error)) {
            throw Error(ErrorKind::refused, "is named twice; give each file a name of its own")
                .at({output});
        }
    }
    writePage(output, titleOf(options.files), options.files);
    if (output != standardOutput) std::printf("%s\n", output.c_str());
    return allDone;
}

} // namespace

void writePage(const std::string &target, const std::string &title,
               const std::vector<std::string> &jsonFiles) {
    std::string lines;
    for (const auto &file : jsonFiles)
        lines += answersIn(file);
    ResultFile file(target);
    file.write(reportPage(title, lines));
    file.commit();
}

void requirePageCanBeWritten(const std::string &target) {
    const ResultFile attempt(target);
}

void addReportCommand(CLI::App &program, Action &chosen) {
    auto [command, options] = addSubcommand<ReportOptions>(
        program, chosen, "report", "Make a page to look at out of answers in JSON", writeReport);
    addArgument(command, "JSONL", options.files,
                "Files that \"saddlefit react --json\" wrote, as the shards of a run");
    command
        .add_option("-o,--output", options.output,
                    "The page; default: named like the first file, with the suffix .html; \"-\": "
                    "to the standard output")
        ->type_name("FILE");
    command.footer("The page holds all that it shows and needs no network.\n\n"
                   "Example:\n"
                   "  saddlefit report guess.jsonl -o guess.html");
}

} // namespace saddlefit::cli
