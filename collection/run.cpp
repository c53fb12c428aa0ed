#include "collection/run.hpp"

#include "host/saddle/xtb_surface.hpp"
#include "host/structures/units.hpp"

#include <csignal>
#include <map>
#include <optional>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace saddlefit::collection {

namespace {

/// What the process of an entry says: lines that begin with A (an attempt) or R (its record).
class Voice {
public:
    explicit Voice(int descriptor) : descriptor_(descriptor) {}
    void say(char kind, const std::string &text) const {
        const auto line = std::string(1, kind) + text + "\n";
        for (std::size_t sent = 0; sent < line.size();) {
            const auto count = write(descriptor_, line.data() + sent, line.size() - sent);
            if (count <= 0) _exit(1);
            sent += static_cast<std::size_t>(count);
        }
    }

private:
    int descriptor_;
};

std::vector<Proposal> proposalsOf(const WorkEntry &entry, const Molecule3D &molecule,
                                  const WorkOptions &options) {
    if (!entry.steps.empty()) return {proposalOf(molecule, {entry.smiles, entry.steps})};
    const auto all = enumerated(molecule.species, molecule.drawing, options.seed);
    std::vector<Proposal> some;
    const auto first = entry.round * options.proposalsPerRound;
    for (std::size_t i = first; i < std::min(all.size(), first + options.proposalsPerRound); ++i)
        some.push_back(all[i]);
    return some;
}

using KnownReactions = std::map<std::string, double>; // hartree, see Journal

/// What a saddle that passes is beside those that are known: another conformer of a known one
/// stands for its reaction only if it is clearly lower.
std::string outcomeBeside(KnownReactions &known, const TrialResult &result) {
    constexpr double clearlyLower = 1.0; // kcal/mol
    const double energy = result.saddle->saddleEnergy;
    const auto [entry, isNew] = known.emplace(result.saddle->hash, energy);
    if (isNew) return result.outcome;
    if (kcalPerHartree * (entry->second - energy) < clearlyLower) return "another known";
    entry->second = energy;
    return AttemptLine::lowerOutcome;
}

/// The work of one entry's process from its attempt `first` on.
void work(const WorkEntry &entry, int first, KnownReactions known, const WorkOptions &options,
          const Voice &voice) {
    AttemptLine line{entry.name, -1, entry.family, "done", "-", 0};
    try {
        const auto smiles = entry.steps.empty() ? entry.smiles : withHydrogens(entry.smiles);
        const auto molecule = moleculeFrom(smiles);
        const auto proposals = proposalsOf(entry, molecule, options);
        std::optional<Reactant> reactant;
        for (int i = first; i < static_cast<int>(proposals.size()); ++i) {
            const auto &proposal = proposals[static_cast<std::size_t>(i)];
            AttemptLine attempt{entry.name, i, entry.family, "known", proposal.hash, 0};
            if (!known.contains(proposal.hash)) {
                if (!reactant) reactant.emplace(molecule, seedFor(options.seed, entry.smiles));
                const auto result = reactant->tried(
                    proposal, entry.steps.empty() ? Origin::enumeration : Origin::family);
                attempt.outcome = result.outcome;
                attempt.gradients = result.gradients;
                if (result.accepted()) {
                    attempt.hash = result.saddle->hash;
                    attempt.outcome = outcomeBeside(known, result);
                    if (attempt.hasRecord()) voice.say('R', jsonText(recordOf(*result.saddle)));
                }
            }
            voice.say('A', textOf(attempt));
        }
    } catch (const std::exception &error) {
        line.outcome = "not begun";
    }
    voice.say('A', textOf(line));
}

/// The process of an entry, seen from outside.
class EntryProcess {
public:
    EntryProcess(const WorkEntry &entry, int first, const KnownReactions &known,
                 const WorkOptions &options) {
        int ends[2];
        if (pipe(ends) != 0) throw Error("no pipe can be made");
        process_ = fork();
        if (process_ < 0) throw Error("no process can be started");
        if (process_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            close(ends[0]);
            work(entry, first, known, options, Voice(ends[1]));
            _exit(0);
        }
        close(ends[1]);
        descriptor_ = ends[0];
    }
    EntryProcess(const EntryProcess &) = delete;
    EntryProcess &operator=(const EntryProcess &) = delete;
    ~EntryProcess() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        close(descriptor_);
    }

    enum class Heard { line, end, nothing };

    Heard listen(std::string &line, int seconds) {
        for (;;) {
            const auto end = buffer_.find('\n');
            if (end != std::string::npos) {
                line = buffer_.substr(0, end);
                buffer_.erase(0, end + 1);
                return Heard::line;
            }
            pollfd waiting{descriptor_, POLLIN, 0};
            if (poll(&waiting, 1, 1000 * seconds) <= 0) return Heard::nothing;
            char bytes[65536];
            const auto count = read(descriptor_, bytes, sizeof bytes);
            if (count <= 0) return Heard::end;
            buffer_.append(bytes, static_cast<std::size_t>(count));
        }
    }

private:
    pid_t process_ = -1;
    int descriptor_ = -1;
    std::string buffer_;
};

class Run {
public:
    Run(const RunOptions &options, const std::function<void(const AttemptLine &)> &tell)
        : options_(options), tell_(tell), journal_(options.state) {}

    void go(const std::vector<Family> &families, const std::vector<std::string> &molecules) {
        auto list = workList(families, molecules, options_.work);
        std::set<std::string> queued(molecules.begin(), molecules.end());
        std::size_t seen = 0;
        for (std::size_t i = 0; i < list.size() && !isOver(); ++i) {
            finish(list[i]);
            // What was found on the way comes behind all that was there from the beginning.
            for (; i + 1 == list.size() && seen < journal_.records().size(); ++seen)
                addSeeds(journal_.records()[seen], queued, list);
        }
    }

private:
    bool isOver() const { return options_.mostAttempts > 0 && attempts_ >= options_.mostAttempts; }

    void addSeeds(const Json &record, std::set<std::string> &queued,
                  std::vector<WorkEntry> &list) const {
        for (const char *side : {"reactant_smiles", "product_smiles"}) {
            for (const auto &smiles : moleculesIn(record.at(side))) {
                if (!queued.insert(smiles).second) continue;
                for (auto &entry : entriesOf(smiles, options_.work))
                    list.push_back(std::move(entry));
            }
        }
    }

    void finish(const WorkEntry &entry) {
        if (journal_.isClosed(entry.name)) return;
        if (entry.quota > 0 && journal_.attemptsOf(entry.name) == 0 &&
            journal_.acceptedOf(entry.family) >= static_cast<int>(entry.quota)) {
            note({entry.name, -1, entry.family, "quota filled", "-", 0}, {});
            return;
        }
        while (!journal_.isClosed(entry.name) && !isOver())
            watch(entry);
    }

    /// One process, to its end or to the attempt that it dies of.
    void watch(const WorkEntry &entry) {
        EntryProcess process(entry, journal_.attemptsOf(entry.name), journal_.known(),
                             options_.work);
        std::string record;
        for (std::string line; !isOver();) {
            const auto heard = process.listen(line, options_.watchdog);
            if (heard == EntryProcess::Heard::line) {
                if (line[0] == 'R') record = line.substr(1);
                if (line[0] != 'A') continue;
                const auto attempt = attemptFrom(line.substr(1));
                note(attempt, record);
                if (attempt.number < 0) return;
                continue;
            }
            const bool ended = heard == EntryProcess::Heard::end;
            note({entry.name, journal_.attemptsOf(entry.name), entry.family,
                  ended ? "crashed" : "watchdog", "-", 0},
                 {});
            return;
        }
    }

    void note(const AttemptLine &line, const std::string &record) {
        journal_.add(line, record);
        if (line.number >= 0) ++attempts_;
        tell_(line);
    }

    const RunOptions &options_;
    const std::function<void(const AttemptLine &)> &tell_;
    Journal journal_;
    std::size_t attempts_ = 0; // in this run
};

} // namespace

void run(const std::vector<Family> &families, const std::vector<std::string> &molecules,
         const RunOptions &options, const std::function<void(const AttemptLine &)> &tell) {
    std::signal(SIGPIPE, SIG_IGN);
    // Where a program underneath is missing all entries would be closed without an attempt.
    moleculeFrom("C");
    xtbSurface({{1, 1}, 0, 0});
    Run(options, tell).go(families, molecules);
}

} // namespace saddlefit::collection
