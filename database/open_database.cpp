#include "database/open_database.hpp"

#include "database/byte_source.hpp"
#include "database/scan.hpp"

#include <algorithm>
#include <time.h>
#include <utility>

namespace saddlefit {

namespace {

constexpr std::int64_t nanosecond = 1, millisecond = 1000000 * nanosecond,
                       second = 1000 * millisecond;

/// Two ticks of the slowest clock that a kernel stamps files with; where the stamps have whole
/// seconds, two steps of the coarsest file system's.
constexpr std::int64_t fineStep = 20 * millisecond, coarseStep = 4 * second;

std::int64_t sinceEpoch(const timespec &time) {
    return std::int64_t{time.tv_sec} * second + time.tv_nsec;
}

/// Whether a change from now on would show in the file's times.
bool restsLongEnough(const FileState &state) {
    timespec now = {};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) return false;
    const bool fine = state.modified.tv_nsec % second != 0 || state.changed.tv_nsec % second != 0;
    const std::int64_t latest = std::max(sinceEpoch(state.modified), sinceEpoch(state.changed));
    return sinceEpoch(now) - latest > (fine ? fineStep : coarseStep);
}

/// Whether the record of an entry bears the code that it was found for.
bool stillBears(ByteWindow &window, const CodeTable::Entry &entry, const StoredCode &code) {
    const auto block = blockAt(window, entry.offset);
    return block && block->status != blockFree && code.isAt(window, block->data);
}

/// Counts, in the end, a source that could not be opened or read.
class CountFailure {
public:
    CountFailure(const ByteSource *source, std::atomic<int> &failures)
        : source_(source), failures_(failures) {}
    ~CountFailure() {
        if (!source_ || source_->failure() != 0) ++failures_;
    }
    CountFailure(const CountFailure &) = delete;
    CountFailure &operator=(const CountFailure &) = delete;

private:
    const ByteSource *source_;
    std::atomic<int> &failures_;
};

} // namespace

OpenDatabase::OpenDatabase(std::string path, std::vector<unsigned char> bytes, bool inMemory)
    : path_(std::move(path)), bytes_(std::move(bytes)), inMemory_(inMemory) {}

OpenDatabase::~OpenDatabase() = default;

std::unique_ptr<OpenDatabase> OpenDatabase::open(const char *path) {
    if (!ByteSource::open(path)) return nullptr;
    return std::unique_ptr<OpenDatabase>(new OpenDatabase(path, {}, false));
}

std::unique_ptr<OpenDatabase> OpenDatabase::over(std::vector<unsigned char> bytes) {
    return std::unique_ptr<OpenDatabase>(new OpenDatabase({}, std::move(bytes), true));
}

std::unique_ptr<ByteSource> OpenDatabase::source() const {
    return inMemory_ ? std::make_unique<ByteSource>(Bytes(bytes_))
                     : ByteSource::open(path_.c_str());
}

/// Make the table, or make it anew, where it can be trusted.
bool OpenDatabase::hasTableFor(const ByteSource &source) const {
    const auto state = source.state();
    if (!state && !inMemory_) return false;
    if (!table_ || table_->state() != state) {
        table_.reset();
        if (state && !restsLongEnough(*state)) return false;
        auto made = std::make_unique<const CodeTable>(source, state);
        if (source.state() != state || source.failure() != 0) return false;
        table_ = std::move(made);
    }
    return table_->isComplete();
}

/// Nothing where there is no table to be trusted.
std::optional<std::vector<CodeTable::Entry>>
OpenDatabase::entriesFor(const ByteSource &source, const StoredCode &code) const {
    const std::lock_guard lock(mutex_);
    if (!hasTableFor(source)) return std::nullopt;
    const auto entries = table_->entriesFor(code);
    return std::vector(entries.begin(), entries.end());
}

void OpenDatabase::forEachWith(std::span<const int> code, const MoleculeVisitor &visit) const {
    const StoredCode wanted(code);
    const auto from = source();
    const CountFailure counting(from.get(), failures_);
    if (!from || !wanted.canMatch()) return;
    const auto entries = entriesFor(*from, wanted);
    if (!entries) return scanRecords(*from, &wanted, Oversized::passedOver, visit);
    ByteWindow window(*from);
    const auto bears = [&](const CodeTable::Entry &entry) {
        return stillBears(window, entry, wanted);
    };
    if (!std::ranges::all_of(*entries, bears))
        return scanRecords(*from, &wanted, Oversized::passedOver, visit);
    for (const CodeTable::Entry &entry : *entries) {
        const auto block = blockAt(window, entry.offset);
        if (!block || !countsFit(window, *block)) continue;
        StoredMolecule stored = moleculeAt(window, block->data, entry.position);
        if (!stored.molecule || !visit(std::move(stored))) return;
    }
}

void OpenDatabase::forEach(const MoleculeVisitor &visit) const {
    const auto from = source();
    const CountFailure counting(from.get(), failures_);
    if (from) scanRecords(*from, nullptr, Oversized::passedOver, visit);
}

std::vector<OwnedMol> OpenDatabase::moleculesWith(std::span<const int> code) const {
    std::vector<OwnedMol> molecules;
    forEachWith(code, [&](StoredMolecule stored) {
        molecules.push_back(std::move(stored.molecule));
        return true;
    });
    return molecules;
}

bool OpenDatabase::empty() const {
    const auto from = source();
    if (!from) return true;
    bool found = false;
    ByteWindow window(*from);
    forEachUsedBlock(window, [&](const FileBlock &, std::uint32_t) {
        found = true;
        return false;
    });
    return !found;
}

} // namespace saddlefit
