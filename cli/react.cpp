#include "cli/batch/batch.hpp"
#include "cli/commands.hpp"
#include "cli/database/addition.hpp"
#include "cli/explanation.hpp"
#include "cli/json.hpp"
#include "cli/react_options.hpp"
#include "cli/report.hpp"
#include "cli/saddle_text.hpp"
#include "host/answers/best_map.hpp"
#include "host/answers/expected_error.hpp"
#include "host/answers/formats.hpp"
#include "host/answers/learned_saddles.hpp"
#include "host/programs/constraint_files.hpp"
#include "host/programs/saddle_inputs.hpp"
#include "host/store/database_file.hpp"
#include "host/system/output_file.hpp"
#include "host/system/temporary_folder.hpp"
#include "host/system/text.hpp"

#include <CLI/CLI.hpp>

#include <array>
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
    OutputFiles(const ReactOptions &options, const ReactionReader &reader) {
        const auto begin = options.resume ? Begin::resume : Begin::anew;
        for (const auto &[path, format] : outputsOf(options)) {
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

std::string expectedErrorText(const Reaction &reaction, const Answer &answer) {
    const auto expected = expectedErrorOf(reaction, answer);
    return expected ? formatted("expected error %.2f", *expected) : "-";
}

std::string resultLine(const Reaction &reaction, const Answer &answer) {
    return reaction.title + "\t" + answer.code + "\t" + describeMatch(answer) + "\t" +
           std::to_string(answer.constraints.size()) + " constraints\t" +
           std::to_string(answer.frozen.size()) + " atoms frozen\t" +
           (answer.stage ? wordOf(*answer.stage) : "-") + "\t" +
           expectedErrorText(reaction, answer) +
           (answer.saddle ? "\t" + saddleColumns(*answer.saddle) : "") + "\n";
}

std::string warningLines(const Reaction &reaction, const Answer &answer) {
    std::string text;
    for (const auto &list : {answer.warningTexts(), answer.strains}) {
        for (const auto &warning : list) {
            text +=
                "saddlefit: " + reaction.reactant.origin.text() + ": warning: " + warning + "\n";
        }
    }
    if (answer.saddle && !answer.saddle->reason.empty())
        text += "saddlefit: " + reaction.reactant.origin.text() +
                ": saddle point: " + answer.saddle->outcome + ", " + answer.saddle->reason + "\n";
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

void writeFile(const std::string &path, const std::string &text) {
    OutputFile file(path);
    file.write(text);
    file.commit();
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
    writeFile(options.constraintPath(reaction, constraintFormat(options.constraintProgram).suffix),
              constraintFile(options.constraintProgram, molecule));
}

// Of a side in space.
std::vector<Position> positionsOf(const Structure &structure) {
    std::vector<Position> positions;
    if (!hasCoordinates(structure.atoms)) return positions;
    for (const auto &atom : structure.atoms)
        positions.push_back(atom.position);
    return positions;
}

void writeSaddleInputs(const ReactOptions &options, const Reaction &reaction,
                       const Answer &answer) {
    SaddleGuess guess{reaction.title,
                      answer.charge,
                      answer.unpaired,
                      placedAtoms(reaction, answer.bestCoordinates()),
                      positionsOf(reaction.reactant),
                      positionsOf(reaction.product),
                      {},
                      options.constraintStem(reaction)};
    if (const auto *found = answer.saddle ? answer.saddle->found() : nullptr)
        guess.hessian = found->hessian;
    for (const auto &[suffix, text] : saddleInputs(options.constraintProgram, guess))
        writeFile(options.constraintPath(reaction, suffix), text);
}

void writeInputs(const ReactOptions &options, const Reaction &reaction, const Answer &answer) {
    if (options.constraintProgram.empty()) return;
    if (options.job == Job::ts)
        writeSaddleInputs(options, reaction, answer);
    else
        writeConstraintFile(options, reaction, answer);
}

/// Takes the saddle points in that workers find, and stores them in the end.
class Learning {
public:
    explicit Learning(const ReactOptions &options)
        : database_(options.learnInto), before_(outputsOf(options).size()) {}

    /// In the worker: behind the pieces of the output files.
    static void addTo(Delivery &delivery, const Reaction &reaction, const Answer &answer) {
        auto [reactants, products, saddles] = learnedSaddles(reaction, answer);
        for (auto *records : {&reactants, &products, &saddles})
            delivery.pieces.push_back(std::move(*records));
    }

    void take(const Delivery &delivery) {
        for (std::size_t i = 0; i < records_.size() && before_ + i < delivery.pieces.size(); ++i)
            records_[i] += delivery.pieces[before_ + i];
    }

    void store() const {
        if (database_.empty() || records_.back().empty()) return;
        const TemporaryFolder folder;
        const ReactionFiles files{folder.file("reactants.sdf"), folder.file("products.sdf"),
                                  folder.file("saddles.sdf")};
        writeFile(files.reactants, records_[0]);
        writeFile(files.products, records_[1]);
        writeFile(files.geometries, records_[2]);
        std::fprintf(stderr, "saddlefit: %zu saddle points stored in %s\n",
                     addRecords(database_, files), database_.c_str());
    }

private:
    std::string database_;
    std::size_t before_;
    std::array<std::string, 3> records_;
};

// What is done for one reaction, in a worker process.
class ReactionWork {
public:
    ReactionWork(const ReactOptions &options, const AnswerOptions &answerOptions,
                 const ReactionReader &reader, const StoredReactions &stored)
        : options_(options), answerOptions_(answerOptions), reader_(reader), stored_(stored) {}

    Delivery operator()(std::size_t item) const {
        try {
            auto mapped = bestAnswer(reader_.read(item), stored_, answerOptions_);
            for (auto &warning : mapped.answer.warnings)
                warning = {messageOf(warning)};
            return answered(mapped);
        } catch (const Error &error) {
            return failure(item, messageOf(error));
        }
    }
    Delivery failure(std::size_t item, const std::string &what) const {
        Delivery delivery;
        delivery.failed = true;
        delivery.messages = "saddlefit: " + what + "\n";
        for (const auto &[path, format] : outputsOf(options_)) {
            auto &piece = delivery.pieces.emplace_back();
            if (format->writeFailure)
                piece = format->writeFailure(item + 1, reader_.title(item), what);
        }
        return delivery;
    }

private:
    Delivery answered(const MappedAnswer &mapped) const {
        const auto &[reaction, answer] = mapped;
        writeInputs(options_, reaction, answer);
        Delivery delivery;
        delivery.line = resultLine(reaction, answer);
        delivery.messages = warningLines(reaction, answer);
        if (options_.verbose) delivery.messages += explanation(reaction, answer);
        for (const auto &[path, format] : outputsOf(options_))
            delivery.pieces.push_back(format->write(reaction, answer));
        if (!options_.learnInto.empty()) Learning::addTo(delivery, reaction, answer);
        return delivery;
    }

    const ReactOptions &options_;
    const AnswerOptions &answerOptions_;
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
    report(Error("warning: the database holds no records, so nothing can match; \"saddlefit db "
                 "add\" stores some")
               .at({database}));
}

int react(const ReactOptions &options) {
    const ReactionReader reader(options.files, options.start, options.orders, options.pairing);
    const StoredReactions stored(options.database);
    if (stored.empty()) reportEmpty(options.database);
    options.requireOtherFiles();
    if (options.answer.saddle) requireMethod(options.answer.saddle->method);

    if (!options.constraintProgram.empty()) makeFolder(options.constraintFolder);
    OutputFiles outputs(options, reader);
    const std::size_t doneBefore = options.resume ? resumeAfter(outputs.all()) : 0;
    const auto items = itemsOf(options, reader.count(), doneBefore);
    if (items.size() > 1 || options.batch.timeout > 0) prepare(stored);

    // Workers may be ended at any moment; what they leave behind goes with this folder.
    std::optional<TemporaryFolder> scratch;
    auto answerOptions = options.answer;
    if (options.answer.relax == Relax::xtb) answerOptions.xtb.folder = scratch.emplace().path();
    const ReactionWork work(options, answerOptions, reader, stored);
    const auto mishap = [&](std::size_t item, const std::string &what) {
        return work.failure(item, reader.origin(item).text() + ": " + what);
    };
    Learning learning(options);
    const auto result = runBatch(items, work, mishap, options.batch, outputs.all(),
                                 [&](const Delivery &delivery) { learning.take(delivery); });
    learning.store();
    if (result.interrupted)
        reportInterrupt(result, items.size(), !outputs.all().empty());
    else
        outputs.commit();
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
