#include "cli/batch/batch.hpp"
#include "cli/commands.hpp"
#include "cli/report.hpp"
#include "cli/saddle_options.hpp"
#include "cli/saddle_text.hpp"
#include "cli/subcommand.hpp"
#include "host/answers/answer_saddle.hpp"
#include "host/answers/formats.hpp"
#include "host/answers/saddle_questions.hpp"
#include "host/programs/frequency_job.hpp"
#include "host/saddle/criteria.hpp"
#include "host/saddle/reaction_path.hpp"
#include "host/structures/xyz.hpp"
#include "host/system/output_file.hpp"
#include "host/system/temporary_folder.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace saddlefit::cli {

namespace {

struct SaddleCommandOptions {
    SaddleQuestionFiles files;
    SaddleOptions saddle;
    std::string output; // these three are empty where no such file is wanted
    std::string xyz;
    std::string json;
    std::string path;
    BatchOptions batch;
    bool resume = false;
    bool verbose = false;
};

// How an answer is written, and found again in an unfinished file.
struct Format {
    std::string (*write)(const SaddleQuestion &, const ReactionSaddle &);
    const AnswerFormat &pieces;
};
constexpr Format sdf{sdfRecord, sdfFormat}, xyz{xyzRecord, xyzFormat}, json{jsonLine, jsonFormat};

struct Output {
    std::string path;
    const Format *format;
};

// A record per point of the path over the saddle point, from its first end to the second.
std::string pathRecords(const SaddleQuestion &question, const ReactionSaddle &saddle,
                        const SaddleOptions &options) {
    const auto *found = saddle.found();
    if (!found) return {};
    std::string records;
    for (const auto &[arc, energy, positions] : pathOver(question.task, *found, options)) {
        auto atoms = question.atoms;
        for (std::size_t i = 0; i < atoms.size(); ++i)
            atoms[i].position = positions[i];
        records += xyzRecord(question.title + formatted(" record=%zu s=%.3f energy_hartree=%.8f",
                                                        question.number, arc, energy),
                             atoms);
    }
    return records;
}

std::vector<Output> outputsOf(const SaddleCommandOptions &options) {
    std::vector<Output> outputs{{options.output, &sdf}, {options.xyz, &xyz}, {options.json, &json}};
    std::erase_if(outputs, [](const Output &output) { return output.path.empty(); });
    return outputs;
}

std::string lineOf(const SaddleQuestion &question, const ReactionSaddle &saddle) {
    const auto *found = saddle.found();
    const auto reaction = found ? reactionOver(*found) : std::string{};
    return question.title + "\t" + saddleColumns(saddle) + "\t" +
           (reaction.empty() ? "-" : reaction) + "\n";
}

void addWarnings(const SaddleQuestion &question, const ReactionSaddle &saddle, Delivery &delivery) {
    delivery.origin = question.origin.text();
    for (const auto &warning : question.warnings)
        delivery.warnings.push_back(messageOf(warning));
    if (!saddle.reason.empty()) delivery.warnings.push_back(saddle.outcome + ", " + saddle.reason);
}

void requireOtherThan(const std::string &input, const std::string &output) {
    std::error_code error; // where one of them is not there, they differ
    if (!std::filesystem::equivalent(input, output, error)) return;
    throw Error(ErrorKind::refused, "is an input, too; give each file a name of its own")
        .at({output});
}

// What is done for one record, in a worker process.
class SaddleWork {
public:
    SaddleWork(const SaddleCommandOptions &options, const SaddleQuestions &questions, bool searches)
        : options_(options), questions_(questions), searches_(searches) {}

    Delivery operator()(std::size_t item) const {
        try {
            const auto question = questions_.read(item);
            return answered(question, namedSaddle(question.task, options_.saddle, searches_));
        } catch (const Error &error) {
            return failure(item, messageOf(error));
        }
    }

    Delivery failure(std::size_t item, const std::string &what) const {
        Delivery delivery;
        delivery.failed = true;
        delivery.messages = "saddlefit: " + what + "\n";
        for (const auto &[path, format] : outputsOf(options_)) {
            const auto write = format->pieces.writeFailure;
            delivery.pieces.push_back(write ? write(item + 1, questions_.title(item), what) : "");
        }
        return delivery;
    }

private:
    Delivery answered(const SaddleQuestion &question, const ReactionSaddle &saddle) const {
        Delivery delivery;
        delivery.line = lineOf(question, saddle);
        addWarnings(question, saddle, delivery);
        if (options_.verbose)
            delivery.messages = question.title + "\n" + saddleExplanation(question.atoms, saddle);
        for (const auto &[path, format] : outputsOf(options_))
            delivery.pieces.push_back(format->write(question, saddle));
        if (!options_.path.empty())
            delivery.pieces.push_back(pathRecords(question, saddle, options_.saddle));
        return delivery;
    }

    const SaddleCommandOptions &options_;
    const SaddleQuestions &questions_;
    bool searches_;
};

std::vector<std::unique_ptr<StreamedFile>> filesFor(const SaddleCommandOptions &options,
                                                    const SaddleQuestions &questions) {
    std::vector<std::unique_ptr<StreamedFile>> files;
    for (const auto &[path, format] : outputsOf(options)) {
        for (const auto *input :
             {&options.files.geometries, &options.files.reactants, &options.files.products})
            if (!input->empty()) requireOtherThan(*input, path);
        const auto &pieces = format->pieces;
        const auto titleOf = [&questions, &pieces](std::size_t item) -> std::optional<std::string> {
            if (item > questions.count()) return std::nullopt;
            return pieces.writtenTitle(questions.title(item - 1));
        };
        files.push_back(std::make_unique<StreamedFile>(
            path, pieces.scan, options.resume ? Begin::resume : Begin::anew, titleOf));
    }
    if (!options.path.empty())
        files.push_back(std::make_unique<StreamedFile>(options.path, xyzFormat.scan, Begin::anew));
    return files;
}

int runSaddles(const SaddleCommandOptions &options, bool searches) {
    const SaddleQuestions questions(options.files);
    requireMethod(options.saddle.method);
    const auto files = filesFor(options, questions);
    std::vector<StreamedFile *> outputs;
    for (const auto &file : files)
        outputs.push_back(file.get());
    std::vector<std::size_t> items;
    for (std::size_t item = options.resume ? resumeAfter(outputs) : 0; item < questions.count();
         ++item)
        items.push_back(item);

    // Workers may be ended at any moment; what they leave behind goes with this folder.
    const TemporaryFolder scratch;
    auto working = options;
    working.saddle.method.folder = scratch.path();
    const SaddleWork work(working, questions, searches);
    const auto mishap = [&](std::size_t item, const std::string &what) {
        return work.failure(item, questions.origin(item).text() + ": " + what);
    };
    auto batch = options.batch;
    for (const auto &path : {options.output, options.xyz, options.json, options.path})
        if (path == standardOutput) batch.linesAreMessages = true;
    const auto result = runBatch(items, work, mishap, batch, outputs);
    if (result.interrupted) {
        std::fprintf(stderr, "saddlefit: interrupted, %zu of %zu records done\n", result.done,
                     items.size());
        return somethingFailed;
    }
    for (const auto &file : files)
        file->commit();
    return result.failed == 0 ? allDone : somethingFailed;
}

int runSearch(const SaddleCommandOptions &options) {
    return runSaddles(options, true);
}

// ---- outputs of other programs ------------------------------------------------------------------

std::optional<FrequencyJob> jobIn(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    try {
        return frequencyJobIn(text.str());
    } catch (const Error &error) {
        throw error.at({path});
    }
}

void requireSameAtoms(const std::string &path, const FrequencyJob &job, const SaddleTask &task) {
    const bool areSame =
        std::equal(job.atoms.begin(), job.atoms.end(), task.elements.begin(), task.elements.end(),
                   [](const auto &atom, int element) { return atom.element == element; });
    if (areSame) return;
    throw Error("the atoms are others than the reactant's, or in another order; compute the "
                "vibrations of the reaction's own atoms")
        .at({path});
}

// Whether the imaginary mode is the reaction's own.
int verifyJob(const SaddleCommandOptions &options, const FrequencyJob &job) {
    const auto &path = options.files.geometries;
    if (options.files.reactants.empty())
        throw Error("vibrations of " + job.program +
                    " without a reaction; give it by --reactants and --products")
            .at({path});
    const ReactionReader reader({{options.files.reactants, options.files.products}, {}},
                                Start::reactant, Orders::harmonised);
    const auto task = saddleTask(reader.read(0).front(), {}, 0, 0);
    requireSameAtoms(path, job, task);
    std::vector<Position> positions;
    for (const auto &atom : job.atoms)
        positions.push_back(atom.position);
    const auto &lowest = job.modes.front();
    const double share = shareInChangedBonds(*task.sides, positions, lowest.displacements);
    const auto imaginary = std::count_if(job.modes.begin(), job.modes.end(), [](const auto &mode) {
        return mode.wavenumber < firstImaginary;
    });
    const char *verdict = imaginary == 0           ? "no imaginary mode"
                          : imaginary > 1          ? "higher order"
                          : share < leastModeShare ? "mode of another motion"
                                                   : "mode of this reaction";
    std::printf("%s\t%s\t%s\t%d imaginary\t%.1f cm-1\t%.0f %% of the mode in changing bonds\n",
                path.c_str(), verdict, job.program.c_str(), static_cast<int>(imaginary),
                lowest.wavenumber, 100 * share);
    return allDone;
}

int runVerification(const SaddleCommandOptions &options) {
    if (const auto job = jobIn(options.files.geometries)) return verifyJob(options, *job);
    return runSaddles(options, false);
}

void addInputs(CLI::App &command, SaddleCommandOptions &options) {
    auto &files = options.files;
    auto *reactants = command.add_option("--reactants", files.reactants,
                                         "Their reactants: as many records, the same atoms");
    auto *products = command.add_option("--products", files.products, "Their products, likewise");
    reactants->needs(products)->type_name("FILE");
    products->needs(reactants)->type_name("FILE");
    addMethodOption(command, options.saddle);
    command
        .add_option("--charge", files.charge,
                    "Charge; default: by the data field CHARGE, then by the records")
        ->type_name("INT");
    command
        .add_option("--uhf", files.unpaired,
                    "Unpaired electrons; default: by the data field UNPAIRED, then 0, or 1 for an "
                    "odd number of electrons")
        ->check(CLI::NonNegativeNumber)
        ->type_name("INT");
}

void addOutputs(CLI::App &command, SaddleCommandOptions &options) {
    command.add_option("-o,--output", options.output, "Write the structures (SDF)")
        ->type_name("FILE");
    command.add_option("--xyz", options.xyz, "Write the structures (XYZ)")->type_name("FILE");
    command.add_option("--json", options.json, "Write everything, a JSON object per line")
        ->type_name("FILE");
    auto *path =
        command
            .add_option("--irc", options.path,
                        "Follow the intrinsic reaction coordinate from each saddle point to both "
                        "sides, and write it (XYZ, a record per point)")
            ->type_name("FILE");
    command.add_flag("-v,--verbose", options.verbose,
                     "Tell the attempts and their ends on standard error");
    command.add_option("-j,--jobs", options.batch.jobs, "Worker processes")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str();
    command
        .add_option("--timeout", options.batch.timeout,
                    "Seconds for one record, after which it counts as failed")
        ->check(CLI::PositiveNumber);
    command
        .add_flag("--resume", options.resume,
                  "Go on behind what the output files hold from an interrupted run")
        ->excludes(path);
}

} // namespace

void addSaddleCommand(CLI::App &program, Action &chosen) {
    auto [command, options] = addSubcommand(
        program, chosen, "saddle", "Search for saddle points from given geometries", runSearch);
    addArgument(command, "GUESS", options.files.geometries, "File with the geometries");
    addInputs(command, options);
    addLadderOptions(command, options.saddle);
    addOutputs(command, options);
    command.footer(
        "Prints a line per record, its columns parted by tabs: title, outcome, energy, barrier,\n"
        "lowest mode, gradients, and the reaction as SMILES where it was not given.\n\n"
        "Examples:\n"
        "  saddlefit saddle guess.sdf -o saddle.sdf         # an SDF of \"saddlefit react\"\n"
        "  saddlefit saddle guess.xyz --reactants r.sdf --products p.sdf\n"
        "  saddlefit saddle guess.xyz -v                    # whatever reaction it is of");
}

void addVerifyCommand(CLI::App &program, Action &chosen) {
    auto [command, options] =
        addSubcommand(program, chosen, "verify", "Tell what given geometries are saddle points of",
                      runVerification);
    addArgument(command, "TS", options.files.geometries, "File with the geometries");
    addInputs(command, options);
    addCheckOption(command, options.saddle);
    addGradientOption(command, options.saddle);
    addOutputs(command, options);
    command.footer("Prints lines as \"saddlefit saddle\" does, of the geometries as they stand.\n\n"
                   "Examples:\n"
                   "  saddlefit verify saddle.sdf --check fine\n"
                   "  saddlefit verify ts.xyz --gradient 0.01 -v      # of another method\n"
                   "  saddlefit verify g98.out --reactants r.sdf --products p.sdf");
}

} // namespace saddlefit::cli
