#include "cli/batch/batch.hpp"
#include "cli/commands.hpp"
#include "cli/explanation.hpp"
#include "cli/html_report.hpp"
#include "cli/json.hpp"
#include "cli/react_options.hpp"
#include "cli/report.hpp"
#include "host/answers/best_map.hpp"
#include "host/answers/expected_error.hpp"
#include "host/answers/formats.hpp"
#include "host/programs/constraint_files.hpp"
#include "host/store/database_file.hpp"
#include "host/system/output_file.hpp"
#include "host/system/temporary_folder.hpp"
#include "host/system/text.hpp"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

namespace saddlefit::cli {

namespace {

struct Output {
    std::string path;
    const AnswerFormat *format;
};

// The output files that are wanted.
std::vector<Output> outputsOf(const ReactOptions &options) {
    std::vector<Output> outputs{
        {options.output, &sdfFormat}, {options.xyz, &xyzFormat}, {options.json, &jsonFormat}};
    std::erase_if(outputs, [](const Output &output) { return output.path.empty(); });
    return outputs;
}

// The files of one run, in the order in which deliveries have their pieces.
class OutputFiles {
public:
    OutputFiles(const std::vector<Output> &outputs, Begin begin, const ReactionReader &reader) {
        for (const auto &[path, format] : outputs) {
            const auto titleOf = [&reader,
                                  form = format](std::size_t item) -> std::optional<std::string> {
                if (item > reader.count()) return std::nullopt;
                return form->writtenTitle(reader.title(item - 1));
            };
            files_.push_back(std::make_unique<StreamedFile>(path, format->scan, begin, titleOf));
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
    std::vector<std::unique_ptr<StreamedFile>> files_;
};

// The page to look at, if one is wanted. It is made of JSON lines at the end.
class Page {
public:
    explicit Page(const ReactOptions &options) : options_(options) {
        if (options.html.empty()) return;
        file_.emplace(options.html);
        lines_ = options.json;
        if (!options.keepsJson()) lines_ = folder_.emplace().file("answers.jsonl");
    }
    // A file for the lines where no other output keeps them; it goes with this object.
    std::optional<Output> linesOfItsOwn() const {
        if (!folder_) return std::nullopt;
        return Output{lines_, &jsonFormat};
    }
    void commit() {
        if (!file_) return;
        const auto title = std::filesystem::path(options_.files.reactants).filename().string();
        file_->write(pageOfFiles(title, {lines_}));
        file_->commit();
    }

private:
    const ReactOptions &options_;
    std::optional<OutputFile> file_;
    std::optional<TemporaryFolder> folder_;
    std::string lines_;
};

std::string expectedErrorText(const Reaction &reaction, const Answer &answer) {
    const auto expected = expectedErrorOf(reaction, answer);
    return expected ? formatted("expected error %.2f", *expected) : "-";
}

std::string resultLine(const Reaction &reaction, const Answer &answer) {
    return reaction.title + "\t" + answer.code + "\t" + describeMatch(answer) + "\t" +
           std::to_string(answer.constraints.size()) + " constraints\t" +
           std::to_string(answer.frozen.size()) + " atoms frozen\t" +
           (answer.stage ? wordOf(*answer.stage) : "-") + "\t" +
           expectedErrorText(reaction, answer) + "\n";
}

std::string warningLines(const Reaction &reaction, const Answer &answer) {
    std::string text;
    for (const auto *list : {&answer.warnings, &answer.strains}) {
        for (const auto &warning : *list)
            text += "saddlefit: " + reaction.reactant.origin + ": warning: " + warning + "\n";
    }
    return text;
}

// Where atoms are frozen, angles come from other atoms' surroundings: the structure does not keep
// them, and a program that did would tear at it.
std::vector<Constraint> constraintsToKeep(const Answer &answer) {
    auto kept = answer.constraints;
    if (answer.frozen.empty()) return kept;
    std::erase_if(kept, [](const Constraint &constraint) { return constraint.c >= 0; });
    return kept;
}

void writeConstraintFile(const ReactOptions &options, const Reaction &reaction,
                         const Answer &answer) {
    const ConstrainedMolecule molecule{reaction.title,
                                       answer.charge,
                                       answer.unpaired,
                                       placedAtoms(reaction, answer.coordinates),
                                       constraintsToKeep(answer),
                                       answer.frozen,
                                       options.constraintStem(reaction)};
    OutputFile file(options.constraintPath(reaction));
    file.write(constraintFile(options.constraintProgram, molecule));
    file.commit();
}

// What is done for one reaction, in a worker process.
class ReactionWork {
public:
    ReactionWork(const ReactOptions &options, const AnswerOptions &answerOptions,
                 const std::vector<Output> &outputs, const ReactionReader &reader,
                 const StoredReactions &stored)
        : options_(options),
          answerOptions_(answerOptions),
          outputs_(outputs),
          reader_(reader),
          stored_(stored) {}

    Delivery operator()(std::size_t item) const {
        try {
            return answered(bestAnswer(reader_.read(item), stored_, answerOptions_));
        } catch (const Error &error) {
            return failure(item, error.what());
        }
    }
    Delivery failure(std::size_t item, const std::string &what) const {
        Delivery delivery;
        delivery.failed = true;
        delivery.messages = "saddlefit: " + what + "\n";
        for (const auto &[path, format] : outputs_) {
            auto &piece = delivery.pieces.emplace_back();
            if (format->writeFailure)
                piece = format->writeFailure(item + 1, reader_.title(item), what);
        }
        return delivery;
    }

private:
    Delivery answered(const MappedAnswer &mapped) const {
        const auto &[reaction, answer] = mapped;
        if (!options_.constraintProgram.empty()) writeConstraintFile(options_, reaction, answer);
        Delivery delivery;
        delivery.line = resultLine(reaction, answer);
        delivery.messages = warningLines(reaction, answer);
        if (options_.verbose) delivery.messages += explanation(reaction, answer);
        for (const auto &[path, format] : outputs_)
            delivery.pieces.push_back(format->write(reaction, answer));
        return delivery;
    }

    const ReactOptions &options_;
    const AnswerOptions &answerOptions_;
    const std::vector<Output> &outputs_;
    const ReactionReader &reader_;
    const StoredReactions &stored_;
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
void prepare(const StoredReactions &stored) {
    stored.noteCodes();
    stored.survey();
}

void reportInterrupt(const BatchResult &result, std::size_t count, bool resumable) {
    std::fprintf(stderr, "saddlefit: interrupted, %zu of %zu reactions done%s\n", result.done,
                 count, resumable ? "; --resume goes on behind them" : "");
}

void makeFolder(const std::string &path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    std::error_code ignored;
    if (!std::filesystem::is_directory(path, ignored)) failWriting(path, error.message());
}

void reportEmpty(const std::string &database) {
    report(Error(database + ": warning: the database holds no records, so nothing can match; "
                            "\"saddlefit db add\" stores some"));
}

int react(const ReactOptions &options) {
    const ReactionReader reader(options.files, options.start, options.orders, options.pairing);
    const StoredReactions stored(options.database);
    if (stored.empty()) reportEmpty(options.database);
    options.requireOtherFiles();

    if (!options.constraintProgram.empty()) makeFolder(options.constraintFolder);
    Page page(options);
    auto outputs = outputsOf(options);
    const bool resumable = !outputs.empty();
    if (const auto lines = page.linesOfItsOwn()) outputs.push_back(*lines);
    OutputFiles files(outputs, options.resume ? Begin::resume : Begin::anew, reader);
    const std::size_t doneBefore = options.resume ? resumeAfter(files.all()) : 0;
    const auto items = itemsOf(options, reader.count(), doneBefore);
    if (items.size() > 1 || options.batch.timeout > 0) prepare(stored);

    // Workers may be ended at any moment; what they leave behind goes with this folder.
    std::optional<TemporaryFolder> scratch;
    auto answerOptions = options.answer;
    if (options.answer.relax == Relax::xtb) answerOptions.xtb.folder = scratch.emplace().path();
    const ReactionWork work(options, answerOptions, outputs, reader, stored);
    const auto mishap = [&](std::size_t item, const std::string &what) {
        return work.failure(item, reader.origin(item) + ": " + what);
    };
    const auto result = runBatch(items, work, mishap, options.batch, files.all());
    if (result.interrupted) {
        reportInterrupt(result, items.size(), resumable);
    } else {
        files.commit();
        page.commit();
    }
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
