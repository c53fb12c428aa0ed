#include "cli/react_options.hpp"

#include "cli/host.hpp"
#include "cli/order_option.hpp"
#include "cli/saddle_options.hpp"
#include "host/programs/constraint_files.hpp"
#include "host/store/collection_file.hpp"
#include "host/store/database_file.hpp"
#include "host/system/output_file.hpp"
#include "host/system/text.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <sstream>
#include <utility>

namespace saddlefit::cli {

namespace {

std::vector<Stage> stagesIn(const std::string &text) {
    std::vector<Stage> stages;
    std::istringstream names(text);
    for (std::string name; std::getline(names, name, ',');) {
        const auto stage = valueNamed<Stage>(name);
        if (!stage) {
            throw CLI::ValidationError("--stages", "\"" + name +
                                                       "\" is no stage; give full, sigma and "
                                                       "lengths, or some of them");
        }
        stages.push_back(*stage);
    }
    if (stages.empty()) throw CLI::ValidationError("--stages", "no stage is given");
    return stages;
}

std::pair<std::size_t, std::size_t> shardIn(const std::string &text) {
    std::size_t shard = 0, shards = 0;
    char slash = 0, rest = 0;
    std::istringstream stream(text);
    const bool isPlain = text.find_first_not_of("0123456789/") == std::string::npos; // no -1
    const bool read = isPlain && stream >> shard >> slash >> shards && !(stream >> rest);
    if (!read || slash != '/' || shard < 1 || shard > shards) {
        throw CLI::ValidationError("--shard",
                                   "\"" + text + "\" is no shard; give the third of eight as 3/8");
    }
    return {shard, shards};
}

std::vector<std::string> programsWithConstraints() {
    std::vector<std::string> names;
    for (const auto &format : constraintFormats)
        names.emplace_back(format.program);
    return names;
}

// What can stand in a file name everywhere.
std::string asFileName(std::string title) {
    std::replace_if(
        title.begin(), title.end(),
        [](unsigned char c) { return std::isalnum(c) == 0 && c != '-' && c != '_' && c != '.'; },
        '_');
    constexpr std::size_t longest = 60;
    return title.substr(0, longest);
}

void requireSides(const ReactionFiles &files) {
    const bool one = !files.reactants.empty();
    const bool molecules = !files.reactantMolecules.empty() || !files.productMolecules.empty();
    if (!one && !molecules) throw CLI::RequiredError("REACTANTS");
    if (one && molecules) {
        throw CLI::ValidationError("--reactants", "give the sides as REACTANTS and PRODUCTS, or as "
                                                  "--reactants and --products, not both ways");
    }
    if (molecules && (files.reactantMolecules.empty() || files.productMolecules.empty())) {
        throw CLI::ValidationError("--reactants", "and --products are given together");
    }
    if (one && files.products.empty() && !areReactionSmiles(files))
        throw CLI::RequiredError("PRODUCTS");
}

void addInputs(CLI::App &command, ReactOptions &options) {
    command
        .add_option("REACTANTS", options.files.reactants,
                    "File with the reactants; or reaction SMILES: one itself, or a file of them")
        ->type_name("");
    command
        .add_option("PRODUCTS", options.files.products,
                    "File with the products: as many records, the same atoms")
        ->type_name("");
    command
        .add_option("--reactants", options.files.reactantMolecules,
                    "Files of the reactant molecules of one reaction, to be placed as they react")
        ->type_name("FILE...");
    command
        .add_option("--products", options.files.productMolecules, "Files of its product molecules")
        ->type_name("FILE...");
    command
        .add_option("--db", options.database,
                    "Database of transition states; default: the collection that comes with "
                    "saddlefit")
        ->envname("SADDLEFIT_DB")
        ->type_name("FILE");
    addInputFormatOption(command, options.files.format);
    addOrdersOption(command, options.orders);
    addPairingOptions(command, options.pairing);
    addBareSideOptions(command, options.bareSides);
    command
        .add_option("--uhf", options.answer.unpaired,
                    "Unpaired electrons; default: by the records, else 0, or 1 for an odd number "
                    "of electrons")
        ->check(CLI::NonNegativeNumber)
        ->type_name("INT");
    command
        .add_option("--start", options.startText,
                    "Begin with the geometry of the reactant, the product, their mean (default), "
                    "or of the records of a file")
        ->type_name("reactant|product|mean|FILE");
}

void addAsking(CLI::App &command, ReactOptions &options) {
    auto &answer = options.answer;
    command
        .add_option("--stages", options.stagesText,
                    "Ask with all changes of bond order, then with made and broken bonds only, "
                    "then take the database's usual lengths")
        ->type_name("LIST")
        ->capture_default_str();
    addChoice(
        command, "--placement", answer.placement,
        "Place the centre by the match where it is the same reaction and runs the same way, else "
        "by the usual lengths (direction, default), or by the match as the library does it");
    command
        .add_option("--rivals", answer.rivals,
                    "How many of the best matches to look at, for the spread")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
}

void addRelaxation(CLI::App &command, ReactOptions &options) {
    auto &answer = options.answer;
    addChoice(
        command, "--relax", answer.relax,
        "Let the rest follow the placed centre: by its distances (internal, default), then by "
        "a force field (uff) or by the program xtb, or not at all");
    command.add_option("--xtb-method", answer.xtb.method, "gfn2, gfn1, gfn0 or gfnff")
        ->check(CLI::IsMember({"gfn2", "gfn1", "gfn0", "gfnff"}))
        ->type_name("METHOD")
        ->capture_default_str();
    command.add_option("--xtb-time", answer.xtb.timeLimit, "Seconds for one run of xtb")
        ->check(complaintAboutSeconds)
        ->capture_default_str();
}

void addSaddle(CLI::App &command, ReactOptions &options) {
    auto *search = command
                       .add_option("--saddle", options.saddle.method.name,
                                   "Search for the saddle point from the guess and verify it, by "
                                   "gfn2 (default), gfn1 or gfnff, or by a program and its method "
                                   "as in psi4:hf/sto-3g; give it behind the files")
                       ->expected(0, 1)
                       ->default_str(options.saddle.method.name)
                       ->check(complaintAboutMethod)
                       ->each([&options](const std::string &) { options.searchesSaddle = true; })
                       ->type_name(methodType);
    addLadderOptions(command, options.saddle);
    addGradientTimeOption(command, options.saddle);
    command
        .add_option("--learn", options.learnInto,
                    "Store the saddle points that were found in another database, which is made "
                    "if it is missing")
        ->type_name("FILE");
    for (const char *option : {"--attempts", "--steps", "--check", "--gradient-time", "--learn"})
        command.get_option(option)->needs(search);
}

void addResults(CLI::App &command, ReactOptions &options) {
    command
        .add_option("--guesses", options.answer.guesses,
                    "Write up to three structures per reaction: as placed, with the rest like the "
                    "reactant, like the product")
        ->check(CLI::Range(1, 3))
        ->capture_default_str();
    command
        .add_option("-o,--output", options.output,
                    "Write the structures in the format that the extension names: sdf, xyz, or "
                    "what Open Babel writes; SDF to the standard output (\"-\")")
        ->type_name("FILE");
    command.add_option("--xyz", options.xyz, "Write the structures (XYZ)")->type_name("FILE");
    command
        .add_option("--json", options.json,
                    "Write everything about each answer, a JSON object per line")
        ->type_name("FILE");
    command
        .add_option("--html", options.html, "Write a page to look at, with all structures (HTML)")
        ->type_name("FILE");
    auto *format = command
                       .add_option("--constraints", options.constraintProgram,
                                   "Write an input per reaction that keeps the centre in place")
                       ->check(CLI::IsMember(programsWithConstraints()))
                       ->type_name("PROGRAM");
    command.add_option("-d,--directory", options.constraintFolder, "Folder for those files")
        ->needs(format)
        ->type_name("DIR");
    addChoice(command, "--job", options.job,
              "What those inputs do: optimise under constraints (opt, default), or search for the "
              "saddle point (ts; not xtb)");
    command.get_option("--job")->needs(format);
    command.add_flag("-v,--verbose", options.verbose,
                     "Explain each answer on standard error: candidates, matches, roles");
    command.add_flag("-q,--quiet", options.batch.quiet,
                     "Print nothing but failures: no lines, no warnings, no counts");
}

void addBatch(CLI::App &command, ReactOptions &options) {
    command.add_option("-j,--jobs", options.batch.jobs, "Worker processes")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str();
    command
        .add_option("--timeout", options.batch.timeout,
                    "Seconds for one reaction, after which it counts as failed")
        ->check(complaintAboutSeconds);
    command.add_flag("--resume", options.resume,
                     "Go on behind what the output files hold from an interrupted run");
    command
        .add_option("--shard", options.shardText, "Take every N-th reaction only, from the K-th")
        ->type_name("K/N");
}

} // namespace

void ReactOptions::requireOtherFiles() const {
    // What leads into no folder, as /dev/stdout does to a pipe, is its own place.
    const auto place = [](const std::string &path) {
        std::error_code error;
        const auto found = std::filesystem::weakly_canonical(path, error);
        return error ? std::filesystem::path(path) : found;
    };
    std::set<std::filesystem::path> taken;
    std::vector<std::string> inputs{files.reactants, files.products, files.geometries};
    for (const auto *more : {&files.reactantMolecules, &files.productMolecules})
        inputs.insert(inputs.end(), more->begin(), more->end());
    for (const auto &input : inputs)
        if (!input.empty() && input != standardInput) taken.insert(place(input));
    for (const auto &path : {output, xyz, json, html, learnInto}) {
        if (path.empty()) continue;
        requireOtherFile(path, database);
        if (!taken.insert(place(path)).second && isReplaceable(path)) {
            throw Error(ErrorKind::refused, "is named twice; give each file a name of its own")
                .at({path});
        }
    }
}

std::vector<AnswerOutput> ReactOptions::outputs(std::size_t reactions) const {
    std::vector<AnswerOutput> list;
    if (!output.empty()) list.push_back(structureOutput(output, reactions * answer.guesses));
    if (!xyz.empty()) list.push_back({xyz, &xyzFormat});
    if (!json.empty()) list.push_back({json, &jsonFormat});
    for (const auto &one : list) {
        if (one.foreign.empty() || !resume) continue;
        throw Error("cannot be gone on with, for records of this format bear no numbers; take .sdf "
                    "or .xyz")
            .at({one.path});
    }
    return list;
}

bool ReactOptions::keepsJson() const {
    return !json.empty() && json != standardOutput && isReplaceable(json);
}

std::string ReactOptions::constraintStem(const Reaction &reaction) const {
    return formatted("%04zu-", reaction.number) + asFileName(reaction.title);
}

std::string ReactOptions::constraintPath(const Reaction &reaction,
                                         const std::string &suffix) const {
    return std::filesystem::path(constraintFolder) / (constraintStem(reaction) + suffix);
}

void ReactOptions::settle() {
    requireSides(files);
    if (database.empty()) {
        database = collectionFile();
        if (database.empty()) throw CLI::RequiredError("--db");
        takesCollection = true;
    }
    answer.stages = stagesIn(stagesText);
    answer.charge = bareSides.charge;
    for (const auto &path : {output, xyz, json, html})
        if (path == standardOutput) batch.linesAreMessages = true;
    if (searchesSaddle) answer.saddle = saddle;
    if (resume && !learnInto.empty()) {
        throw CLI::ValidationError("--resume", "what an interrupted run had learned is stored "
                                               "already; go on without --learn, or run anew");
    }
    if (job == Job::ts && constraintProgram == "xtb") {
        throw CLI::ValidationError("--job",
                                   "xtb has no search for saddle points; --saddle has one");
    }
    if (resume && !html.empty() && !keepsJson()) {
        throw CLI::ValidationError("--resume",
                                   "--html shows the reactions of the run before only where "
                                   "--json names a file that holds them");
    }
    if (!shardText.empty()) std::tie(shard, shards) = shardIn(shardText);
    start = valueNamed<Start>(startText).value_or(Start::file);
    if (start == Start::file) files.geometries = startText;
}

void addReactOptions(CLI::App &command, ReactOptions &options) {
    constexpr std::array<std::pair<const char *, void (*)(CLI::App &, ReactOptions &)>, 6> groups{
        {{"Input options", addInputs},
         {"Search options", addAsking},
         {"Relaxation options", addRelaxation},
         {"Saddle point options", addSaddle},
         {"Output options", addResults},
         {"Batch options", addBatch}}};
    for (const auto &[name, add] : groups) {
        command.option_defaults()->group(name);
        add(command, options);
    }
    command.footer(
        "Prints a line per reaction, its columns parted by tabs: title, elements of the changed\n"
        "bonds, match, constraints and frozen atoms of the finished structure, stage,\n"
        "expected error of made and broken bonds in angstrom, confidence in it; with --saddle "
        "also\n"
        "its outcome, energy, barrier, lowest mode and gradients.\n\n"
        "Examples:\n"
        "  saddlefit react reactants.sdf products.sdf --db reactions.db -o guess.sdf\n"
        "  saddlefit react 'C=CC=C.C=C>>C1CCC=CC1' --db reactions.db -o guess.sdf\n"
        "  saddlefit react r.sdf p.sdf --db reactions.db --relax xtb --json guess.jsonl -j 8\n"
        "  saddlefit react r.sdf p.sdf --db reactions.db --saddle -o saddles.sdf\n"
        "  saddlefit react r.sdf p.sdf --db reactions.db --constraints orca -d inputs");
}

} // namespace saddlefit::cli
