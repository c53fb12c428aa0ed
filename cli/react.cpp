#include "cli/batch/batch.hpp"
#include "cli/commands.hpp"
#include "cli/html_report.hpp"
#include "cli/learning.hpp"
#include "cli/react_options.hpp"
#include "cli/reaction_work.hpp"
#include "cli/report.hpp"
#include "host/store/database_file.hpp"
#include "host/system/output_file.hpp"
#include "host/system/temporary_folder.hpp"
#include "host/system/text.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

namespace saddlefit::cli {

namespace {

// The files of one run, in the order in which deliveries have their pieces.
class OutputFiles {
public:
    OutputFiles(const std::vector<AnswerOutput> &outputs, const ReactOptions &options,
                const ReactionReader &reader) {
        const auto begin = options.resume ? Begin::resume : Begin::anew;
        for (const auto &output : outputs) {
            files_.push_back(std::make_unique<StreamedFile>(
                output.path, scannerOf(*output.format, options.answer.guesses > 1), begin,
                titlesIn(*output.format, reader)));
        }
    }
    std::vector<StreamedFile *> all() const {
        std::vector<StreamedFile *> list;
        for (const auto &file : files_)
            list.push_back(file.get());
        return list;
    }
    void commit() {
        for (const auto &file : files_)
            file->commit();
    }

private:
    static PieceScanner scannerOf(const AnswerFormat &format, bool severalPieces) {
        if (!severalPieces) return format.scan;
        return [scan = format.scan](std::string_view text) { return wholeItems(scan(text)); };
    }
    static TitleOf titlesIn(const AnswerFormat &format, const ReactionReader &reader) {
        return [&reader,
                written = format.writtenTitle](std::size_t item) -> std::optional<std::string> {
            if (item > reader.count()) return std::nullopt;
            return written(reader.title(item - 1));
        };
    }

    std::vector<std::unique_ptr<StreamedFile>> files_;
};

// The page to look at, if one is wanted. It is made of JSON lines at the end.
class Page {
public:
    explicit Page(const ReactOptions &options) : options_(options) {
        if (options.html.empty()) return;
        requirePageCanBeWritten(options.html);
        lines_ = options.json;
        if (!options.keepsJson()) lines_ = folder_.emplace().file("answers.jsonl");
    }
    // A file for the lines where no other output keeps them; it goes with this object.
    std::optional<AnswerOutput> linesOfItsOwn() const {
        if (!folder_) return std::nullopt;
        return AnswerOutput{lines_, &jsonFormat};
    }
    void commit() {
        if (options_.html.empty()) return;
        const auto title = std::filesystem::path(options_.files.reactants).filename().string();
        writePage(options_.html, title, {lines_});
    }

private:
    const ReactOptions &options_;
    std::optional<TemporaryFolder> folder_;
    std::string lines_; // the file of them
};

std::vector<std::size_t> itemsOf(const ReactOptions &options, std::size_t count,
                                 std::size_t doneBefore) {
    std::vector<std::size_t> items;
    for (std::size_t item = options.shard - 1; item < count; item += options.shards) {
        if (item >= doneBefore) items.push_back(item);
    }
    return items;
}

// What the workers would each find out for themselves, and in the time of their first reaction.
// False if it takes longer than a reaction may.
bool prepare(const StoredReactions &stored, double timeout) {
    constexpr double aCentury = 3.2e9; // more would overflow the clock
    std::optional<Deadline> deadline;
    if (timeout > 0) deadline.emplace(std::min(timeout, aCentury));
    try {
        stored.noteCodes();
        stored.surveyUntil(deadline);
    } catch (const Deadline::Passed &) {
        return false;
    }
    return true;
}

void reportInterrupt(const BatchResult &result, std::size_t count, bool resumable) {
    std::fprintf(stderr, "saddlefit: interrupted, %zu of %zu reactions done%s\n", result.done,
                 count, resumable ? "; --resume goes on behind them" : "");
}

// "saddlefit: 240 reactions: 12 exact, 108 partial, 112 lengths, 8 failed".
void reportOutcomes(const BatchResult &result) {
    std::string text = formatted("saddlefit: %zu reactions: ", result.done);
    auto outcomes = result.outcomes;
    for (const char *word : {"exact", "partial", "lengths"})
        text += formatted("%zu %s, ", outcomes[word], word);
    if (const auto count = outcomes["without an answer"])
        text += formatted("%zu without an answer, ", count);
    std::fprintf(stderr, "%s%zu failed\n", text.c_str(), result.failed);
}

void makeFolder(const std::string &path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    std::error_code ignored;
    if (!std::filesystem::is_directory(path, ignored)) failWriting(path, error.message());
}

std::string tooLate(const ReactOptions &options, const ReactionReader &reader, std::size_t item) {
    return reader.origin(item).text() + formatted(": took longer than %g s, for to go through the "
                                                  "database takes that long; allow more time",
                                                  options.batch.timeout);
}

void reportEmpty(const std::string &database) {
    report(Error("warning: the database holds no records, so nothing can match; \"saddlefit db "
                 "add\" stores some")
               .at({database}));
}

// Which database is asked where none is named, and whether it can answer anything.
void announce(const ReactOptions &options, const StoredReactions &stored) {
    if (options.takesCollection && !options.batch.quiet)
        report(Error("takes the collection that comes with it, for no --db is given")
                   .at({options.database}));
    if (stored.empty()) reportEmpty(options.database);
}

// Throws Error for what would fail after a long run only.
void requirePossible(const ReactOptions &options) {
    options.requireOtherFiles();
    if (options.answer.saddle) requireMethod(options.answer.saddle->method);
    if (!options.constraintProgram.empty()) makeFolder(options.constraintFolder);
}

void reportResult(const BatchResult &result, std::size_t items, bool resumable, bool quiet) {
    if (result.interrupted) reportInterrupt(result, items, resumable);
    if (!quiet && result.done > 1) reportOutcomes(result);
}

// The time of what was not prepared in time is over already.
BatchOptions batchOf(const ReactOptions &options, bool inTime) {
    auto batch = options.batch;
    if (!inTime) batch.timeout = 0;
    return batch;
}

// Workers may be ended at any moment; what their programs leave behind goes with this folder.
AnswerOptions workingIn(std::optional<TemporaryFolder> &scratch, AnswerOptions options) {
    if (options.relax != Relax::xtb && !options.saddle) return options;
    options.xtb.folder = scratch.emplace().path();
    if (options.saddle) options.saddle->method.folder = scratch->path();
    return options;
}

int react(const ReactOptions &options) {
    const ReactionReader reader(options.files, options.start, options.orders, options.pairing,
                                options.bareSides);
    const StoredReactions stored(options.database);
    announce(options, stored);
    requirePossible(options);

    auto wanted = options.outputs(reader.count());
    const bool resumable = !wanted.empty();
    Page page(options);
    if (const auto lines = page.linesOfItsOwn()) wanted.push_back(*lines);
    OutputFiles outputs(wanted, options, reader);
    const std::size_t doneBefore = options.resume ? resumeAfter(outputs.all()) : 0;
    const auto items = itemsOf(options, reader.count(), doneBefore);
    const bool prepares = items.size() > 1 || options.batch.timeout > 0;
    const bool inTime = !prepares || prepare(stored, options.batch.timeout);

    std::optional<TemporaryFolder> scratch;
    const auto answerOptions = workingIn(scratch, options.answer);
    const ReactionWork answering(options, answerOptions, wanted, reader, stored);
    const auto work = [&](std::size_t item) {
        return inTime ? answering(item) : answering.failure(item, tooLate(options, reader, item));
    };
    const auto mishap = [&](std::size_t item, const std::string &what) {
        return answering.failure(item, reader.origin(item).text() + ": " + what);
    };
    Learning learning(options.learnInto, wanted.size());
    const auto result = runBatch(items, work, mishap, batchOf(options, inTime), outputs.all(),
                                 [&](const Delivery &delivery) { learning.take(delivery); });
    learning.store();
    if (!result.interrupted) {
        outputs.commit();
        page.commit();
    }
    reportResult(result, items.size(), resumable, options.batch.quiet);
    return result.failed == 0 && !result.interrupted ? allDone : somethingFailed;
}

} // namespace

void addReactCommand(CLI::App &program, Action &chosen) {
    auto *command = program.add_subcommand("react", "Fit stored transition states onto reactions");
    const auto options = std::make_shared<ReactOptions>();
    addReactOptions(*command, *options);
    command->callback([&chosen, options] {
        options->settle();
        chosen = [options] { return react(*options); };
    });
}

} // namespace saddlefit::cli
