// Batches in worker processes, and output files that are gone on with after a kill.
#include "cli/batch/batch.hpp"
#include "cli/batch/progress.hpp"
#include "command_line.hpp"
#include "host/answers/formats.hpp"
#include "host/system/error.hpp"
#include "host/system/output_file.hpp"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <numeric>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace saddlefit::cli {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

// Written by hand in the three formats. Item 3 failed with a piece in one file, item 5 without any.
constexpr std::size_t blank = 3;
constexpr std::size_t thrower = 5;

std::string sdf(std::size_t item) {
    return "title\n\n\n  0  0  0\nM  END\n> <A>\n$\n\n>  <RECORD>\n" + std::to_string(item) +
           "\n\n$$$$\n";
}
std::string json(std::size_t item) {
    return "{\"title\":\"title\",\"a\":[\"}\\n\"],\"record\":" + std::to_string(item) + "}\n";
}
std::string xyz(std::size_t item) {
    return "2\ntitle record=9 record=" + std::to_string(item) + " a=b\nH 0 0 0\nH 0 0 1\n";
}

Delivery resultOf(std::size_t item) {
    const auto name = "item " + std::to_string(item);
    if (item == thrower) throw Error(name + " throws");
    if (item == blank) return {true, name + " failed\n", "", {"", json(item), ""}};
    const auto padding = std::string(item % 4 == 0 ? 200'000 : item, 'x') + "\n"; // fills a socket
    return {false,
            name + padding,
            item % 6 == 0 ? name + " warns\n" : "",
            {sdf(item), json(item), xyz(item)}};
}

Delivery mishapOf(std::size_t item, const std::string &what) {
    return {false, "item " + std::to_string(item) + " " + what + "\n", "", {"", json(item), ""}};
}

void sleepRandomly() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    std::this_thread::sleep_for(milliseconds(now.tv_nsec / 1000 % 7));
}

// Dead, though maybe not yet reaped by whoever inherited it.
bool dies(pid_t process) {
    const auto path = "/proc/" + std::to_string(process) + "/status";
    for (int i = 0; i < 200; ++i) {
        const auto status = test::contentsOf(path);
        if (status.empty() || test::contains(status, "State:\tZ")) return true;
        std::this_thread::sleep_for(milliseconds(10));
    }
    return false;
}

struct Outputs {
    StreamedFile sdf, json, xyz;
    Outputs(const std::string &folder, Begin begin)
        : sdf(folder + "/o.sdf", sdfPieces, begin),
          json(folder + "/o.json", jsonPieces, begin),
          xyz(folder + "/o.xyz", xyzPieces, begin) {}
    std::vector<StreamedFile *> all() { return {&sdf, &json, &xyz}; }
};

// Exit statuses of a run, beside those of the program.
constexpr int interruptedStatus = 10;
constexpr int leftovers = 11;

bool leavesNothing() {
    struct sigaction action {};
    sigaction(SIGINT, nullptr, &action);
    return action.sa_handler == SIG_DFL && waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD;
}

class BatchTest : public test::CommandLineTest {
protected:
    // A whole run in a process of its own, which can be killed.
    pid_t start(Begin begin, const BatchOptions &options, std::size_t count, const Work &work) {
        const auto process = fork();
        if (process != 0) return process;
        std::signal(SIGINT, SIG_DFL);
        std::freopen(file("stdout").c_str(), "w", stdout);
        std::freopen(file("stderr").c_str(), "w", stderr);
        std::fputs("begin\n", stdout);
        try {
            Outputs outputs(file(""), begin);
            const auto last = resumeAfter(outputs.all());
            std::vector<std::size_t> items(count - last);
            std::iota(items.begin(), items.end(), last + 1);
            const auto result = runBatch(items, work, mishapOf, options, outputs.all());
            for (auto *output : outputs.all())
                if (!result.interrupted) output->commit();
            if (!leavesNothing()) _exit(leftovers);
            if (result.done != items.size()) _exit(result.interrupted ? interruptedStatus : -1);
            _exit(static_cast<int>(result.failed));
        } catch (const Error &error) {
            std::fputs(error.what(), stderr);
        }
        _exit(-1);
    }

    static int statusOf(pid_t process) {
        int status = 0;
        waitpid(process, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    void expectFiles(std::size_t count) const {
        std::string structures, objects, coordinates;
        for (std::size_t item = 1; item <= count; ++item) {
            if (item == thrower) continue;
            objects += json(item);
            if (item == blank) continue;
            structures += sdf(item);
            coordinates += xyz(item);
        }
        EXPECT_EQ(contents("o.sdf"), structures);
        EXPECT_EQ(contents("o.json"), objects);
        EXPECT_EQ(contents("o.xyz"), coordinates);
        EXPECT_FALSE(std::filesystem::exists(file("o.sdf.part")));
    }
};

Delivery slowResultOf(std::size_t item) {
    sleepRandomly();
    return resultOf(item);
}

TEST_F(BatchTest, OutputIsInOrderForAnyNumberOfJobs) {
    constexpr std::size_t count = 40;
    std::string lines = "begin\n", messages;
    for (std::size_t item = 1; item <= count; ++item) {
        if (item == thrower) messages += "saddlefit: item 5 throws\n";
        if (item == thrower) continue;
        lines += resultOf(item).line;
        messages += resultOf(item).messages;
    }
    for (const int jobs : {1, 2, 5, 100}) {
        SCOPED_TRACE(jobs);
        write("o.sdf.part", sdf(1)); // of an earlier run
        EXPECT_EQ(statusOf(start(Begin::anew, {jobs, 60}, count, slowResultOf)), 2);
        EXPECT_TRUE(contents("stdout") == lines);
        EXPECT_EQ(contents("stderr"), messages);
        expectFiles(count);
    }
    EXPECT_EQ(statusOf(start(Begin::resume, {2, 0}, count, slowResultOf)), 0);
    EXPECT_EQ(contents("stdout"), ""); // nothing was forked, so nothing was flushed
    expectFiles(count);
}

TEST_F(BatchTest, CrashesAndTimeoutsCostOneItemEach) {
    const auto work = [this](std::size_t item) {
        if (item == 2) std::signal(SIGSEGV, SIG_DFL), raise(SIGSEGV);
        if (item == 4) exit(7);
        if (item == 6) {
            const auto orphan = "(setsid sh -c 'echo $$ > " + file("orphan") + "; sleep 100' &); ";
            std::system((orphan + "echo $$ > " + file("pid") + "; exec sleep 100").c_str());
        }
        return Delivery{false, std::to_string(item) + "\n", "", {}};
    };
    for (const int jobs : {1, 3}) {
        SCOPED_TRACE(jobs);
        EXPECT_EQ(statusOf(start(Begin::anew, {jobs, 1}, 8, work)), 3);
        EXPECT_EQ(contents("stdout"), "begin\n1\nitem 2 the worker ended with signal 11\n3\n"
                                      "item 4 the worker ended with status 7\n5\n"
                                      "item 6 took longer than 1 s\n7\n8\n");
        EXPECT_EQ(contents("o.json"), json(2) + json(4) + json(6));
        EXPECT_EQ(contents("stderr"), ""); // no bar where there is no terminal
        for (const char *process : {"pid", "orphan"})
            EXPECT_TRUE(dies(std::stoi(contents(process)))) << process;
    }
}

TEST_F(BatchTest, AWarningIsSaidOnceAndCounted) {
    const auto work = [](std::size_t item) {
        Delivery delivery{item == 4, "line\n", "", {}};
        delivery.outcome = item == 4 ? "" : "partial";
        delivery.origin = "item " + std::to_string(item);
        delivery.warnings = {"often"};
        if (item == 2) delivery.warnings.push_back("seldom");
        return delivery;
    };
    EXPECT_EQ(statusOf(start(Begin::anew, {2, 0}, 4, work)), 1);
    EXPECT_EQ(contents("stderr"), "saddlefit: item 1: warning: often\n"
                                  "saddlefit: item 2: warning: seldom\n"
                                  "saddlefit: warning for 3 more: often\n");
    EXPECT_EQ(statusOf(start(Begin::anew, {2, 0, false, true}, 4, work)), 1);
    EXPECT_EQ(contents("stderr"), "saddlefit: item 4: warning: often\n") << "of what has failed";
    EXPECT_EQ(contents("stdout"), "begin\nline\n");
}

TEST_F(BatchTest, WorkersDieWithAKilledRun) {
    const auto run = start(Begin::anew, {1, 0}, 1, [this](std::size_t) {
        write("pid", std::to_string(getpid()) + "\n");
        sleep(100);
        return Delivery{};
    });
    while (!test::contains(contents("pid"), "\n"))
        std::this_thread::sleep_for(milliseconds(1));
    kill(run, SIGKILL);
    EXPECT_EQ(statusOf(run), -SIGKILL);
    EXPECT_TRUE(dies(std::stoi(contents("pid"))));
}

TEST_F(BatchTest, InterruptLeavesCompletePiecesToGoOnFrom) {
    constexpr std::size_t count = 60;
    for (const int signal : {SIGINT, SIGTERM}) {
        SCOPED_TRACE(signal);
        write("o.json", "of an earlier run");
        const auto run = start(Begin::anew, {2, 0}, count, slowResultOf);
        while (contents("o.json.part").size() < 200)
            std::this_thread::sleep_for(milliseconds(1));
        kill(run, signal);
        EXPECT_EQ(statusOf(run), interruptedStatus);
        EXPECT_EQ(contents("o.json"), "of an earlier run");
        const auto text = contents("o.json.part");
        EXPECT_EQ(jsonPieces(text).back().end, text.size());
        EXPECT_LT(jsonPieces(text).back().item, count);
        EXPECT_GE(statusOf(start(Begin::resume, {2, 0}, count, slowResultOf)), 0);
        expectFiles(count);
    }
}

// The states that a kill can leave behind, as pieces go to the files one after another.
TEST_F(BatchTest, FilesCutAnywhereAreGoneOnWith) {
    constexpr std::size_t count = 7;
    const std::array<std::string, 3> names{"o.sdf", "o.json", "o.xyz"};
    std::size_t total = 1;
    for (std::size_t cut = 0; cut < total; cut += 3) {
        SCOPED_TRACE(cut);
        std::array<std::string, 3> texts;
        total = 0;
        std::size_t completed = 0, lastPlace = 0; // items all of whose bytes were written
        for (std::size_t item = 1; item <= count; ++item) {
            if (item != thrower) {
                const auto pieces = resultOf(item).pieces;
                for (std::size_t i = 0; i < pieces.size(); ++i) {
                    texts[i] += pieces[i].substr(0, cut - std::min(cut, total));
                    total += pieces[i].size();
                }
                if (total <= cut && item != blank) lastPlace = item;
            }
            if (total <= cut) completed = item;
        }
        for (std::size_t i = 0; i < texts.size(); ++i)
            write(names[i] + (cut % 2 == 0 ? ".part" : ""), texts[i]); // killed, or committed
        Outputs outputs(file(""), Begin::resume);
        const auto last = resumeAfter(outputs.all());
        EXPECT_EQ(last, lastPlace);
        EXPECT_LE(last, completed);
        for (std::size_t item = last + 1; item <= count; ++item) {
            if (item == thrower) continue;
            for (std::size_t i = 0; i < names.size(); ++i)
                outputs.all()[i]->append(resultOf(item).pieces[i]);
        }
        for (auto *output : outputs.all())
            output->commit();
        expectFiles(count);
    }
}

TEST_F(BatchTest, ScannersFindCompletePiecesOfCutText) {
    const struct {
        const char *label;
        PieceScanner scanner;
        std::string (*piece)(std::size_t item);
        const char *title = "title";
    } rows[] = {{"sdf", sdfPieces, sdf},
                {"json", jsonPieces, json},
                {"xyz", xyzPieces, xyz, "title record=9"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const auto text = row.piece(4) + row.piece(17);
        const auto first = row.piece(4).size();
        for (std::size_t size = 0; size <= text.size(); ++size) {
            const auto pieces = row.scanner(std::string_view(text).substr(0, size));
            ASSERT_EQ(pieces.size(), (size >= first ? 1 : 0) + (size == text.size() ? 1 : 0));
            if (size < text.size()) continue;
            EXPECT_EQ(pieces[0].item, 4U);
            EXPECT_EQ(pieces[0].title, row.title);
            EXPECT_EQ(pieces[0].end, first);
            EXPECT_EQ(pieces[1].item, 17U);
            EXPECT_EQ(pieces[1].end, text.size());
        }
    }
}

TEST_F(BatchTest, OtherFilesAreRefusedAndLeftAlone) {
    const struct {
        const char *label;
        PieceScanner scanner;
        std::string text;
    } rows[] = {{"no number", sdfPieces, "a\n\n\nM  END\n$$$$\n"},
                {"no number in the second", sdfPieces, sdf(1) + "a\n\n\nM  END\n$$$$\n"},
                {"number is a word", sdfPieces, "> <RECORD>\n12 a\n\n$$$$\n"},
                {"descending", sdfPieces, sdf(2) + sdf(1)},
                {"twice", jsonPieces, json(2) + json(2)},
                {"an object over several lines", jsonPieces, "{\n\"record\": 1\n}\n"},
                {"number inside", jsonPieces, "{\"a\":{\"record\":1}}\n"},
                {"negative", jsonPieces, "{\"record\":-1}\n"},
                {"an array", jsonPieces, "[1]\n"},
                {"text", xyzPieces, "hello\n"},
                {"title without number", xyzPieces, "1\nmyrecord=1\nH 0 0 0\n"},
                {"another title, sdf", sdfPieces, sdf(1) + "other\n\n\n> <RECORD>\n2\n\n$$$$\n"},
                {"another title, json", jsonPieces, "{\"record\":2,\"title\":\"other\"}\n"},
                {"another title, xyz", xyzPieces, "1\nother record=1\nH 0 0 0\n"},
                {"no such item", xyzPieces, xyz(9)}};
    const auto titleOf = [](std::size_t item) {
        return item < 9 ? std::optional<std::string>("title") : std::nullopt;
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        write("foreign", row.text);
        EXPECT_THROW(StreamedFile(file("foreign"), row.scanner, Begin::resume, titleOf), Error);
        EXPECT_EQ(contents("foreign"), row.text);
        EXPECT_FALSE(std::filesystem::exists(file("foreign.part")));
    }
    write("ours", sdf(1) + sdf(2));
    EXPECT_EQ(StreamedFile(file("ours"), sdfPieces, Begin::resume, titleOf).lastItem(), 2U);
}

TEST_F(BatchTest, StreamedFileReplacesItsTargetAtTheEnd) {
    write("o.json", json(1));
    write("o.json.part", json(7));
    { const StreamedFile empty(file("o.json"), jsonPieces, Begin::anew); }
    EXPECT_EQ(StreamedFile(file("o.json"), jsonPieces, Begin::resume).lastItem(), 0U);
    {
        StreamedFile output(file("o.json"), jsonPieces, Begin::anew);
        EXPECT_THROW(StreamedFile(file("o.json"), jsonPieces, Begin::resume), Error);
        output.append(json(2));
        EXPECT_EQ(contents("o.json"), json(1));
    }
    EXPECT_EQ(contents("o.json"), json(1));
    EXPECT_EQ(contents("o.json.part"), json(2));
    StreamedFile nowhere("/dev/null", xyzPieces, Begin::resume);
    nowhere.append("x");
    StreamedFile output(file("o.json"), jsonPieces, Begin::resume);
    EXPECT_EQ(resumeAfter({&output, &nowhere}), 2U);
    StreamedFile added(file("o.sdf"), sdfPieces, Begin::resume);
    EXPECT_EQ(resumeAfter({&output, &added}), 0U);
    output.append(json(3));
    output.commit();
    nowhere.commit();
    EXPECT_EQ(contents("o.json"), json(3));
    EXPECT_FALSE(std::filesystem::is_regular_file("/dev/null"));
}

// The order of what a crash of the machine could come between.
std::string diskOrder;

} // namespace

extern "C" int fsync(int file) {
    struct stat status {};
    fstat(file, &status);
    diskOrder += S_ISDIR(status.st_mode) ? "folder " : "file ";
    return static_cast<int>(syscall(SYS_fsync, file));
}

extern "C" int rename(const char *from, const char *to) noexcept {
    diskOrder += "rename ";
    return static_cast<int>(syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}

namespace {

TEST_F(BatchTest, EveryOutputIsOnTheDiskBeforeItReplacesAnother) {
    const auto keepsModeAndOwner = [&](const std::string &name, const auto &writing) {
        write(name, "before");
        fs::permissions(file(name), fs::perms{0640});
        const bool isRoot = geteuid() == 0 && chown(file(name).c_str(), 1234, 1234) == 0;
        diskOrder.clear();
        writing(file(name));
        EXPECT_EQ(diskOrder, "file rename folder ") << name;
        EXPECT_EQ(contents(name), "after") << name;
        struct stat status {};
        stat(file(name).c_str(), &status);
        EXPECT_EQ(status.st_mode & 07777, 0640U) << name;
        EXPECT_EQ(status.st_uid, isRoot ? 1234 : geteuid()) << name;
    };
    keepsModeAndOwner("whole", [](const std::string &path) {
        OutputFile output(path);
        output.write("after");
        output.commit();
    });
    keepsModeAndOwner("streamed", [](const std::string &path) {
        StreamedFile output(path, sdfPieces, Begin::anew);
        output.append("after");
        output.commit();
    });
}

TEST_F(BatchTest, WhatStandsBesideATargetIsNoDanger) {
    write("victim", "precious");
    write("x.saddlefit-new", "of a killed run, longer than what is written now");
    {
        OutputFile output(file("x"));
        output.write("new");
        EXPECT_THROW(OutputFile(file("x")), Error) << "two at once";
        output.commit();
    }
    EXPECT_EQ(contents("x"), "new");
    for (const char *link : {"x.saddlefit-new", "x.part"})
        fs::create_symlink(file("victim"), file(link));
    EXPECT_THROW(OutputFile(file("x")), Error);
    EXPECT_THROW(StreamedFile(file("x"), sdfPieces, Begin::anew), Error);
    EXPECT_EQ(contents("victim"), "precious");
}

TEST_F(BatchTest, ProgressTellsTheTimeLeft) {
    using std::chrono::seconds;
    EXPECT_EQ(progressLine(0, 240, 0, seconds(3)), "[....................]  0/240  0 failed");
    EXPECT_EQ(progressLine(60, 240, 3, seconds(4)),
              "[#####...............]  60/240  3 failed  0:12 left");
    EXPECT_EQ(progressLine(1, 2, 0, seconds(7505)),
              "[##########..........]  1/2  0 failed  2:05:05 left");
    EXPECT_EQ(progressLine(2, 2, 0, seconds(1)),
              "[####################]  2/2  0 failed  0:00 left");
}

} // namespace
} // namespace saddlefit::cli
