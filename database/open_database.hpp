/// A database that is asked many times: its molecules by transition code.
#pragma once

#include "database/code_table.hpp"
#include "molecule/memory.hpp"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace saddlefit {

class ByteSource;

/// A molecule as it was read, its name set, and which record it is.
struct StoredMolecule {
    OwnedMol molecule;
    std::uint32_t position = 0; ///< ordinal among the blocks whose status is not 0, from 0
    std::uint32_t handle = 0;   ///< offset of the record in the file
};

/// Takes one molecule after the other; false ends the walk.
using MoleculeVisitor = std::function<bool(StoredMolecule)>;

/// A file, or bytes, with a table that leads from a transition code to the records that bear it.
///
/// Every question is answered as filterDB() answers it for the file as it is then: the path is
/// opened anew each time, and a file that cannot be opened any more holds nothing. So a file that
/// is replaced by another, or written to, may be asked on.
///
/// The first question goes through the file once and makes the table; later ones read what they
/// hand out and little else. The table stands as long as device, inode, size, time of modification
/// and time of change of the file do, and is made only once both times lie further back than the
/// clock's step, for within one step a file may change without a trace. Where the table cannot be
/// made or trusted, or a record that it names has another code by now, the file is scanned.
///
/// What it cannot see: writes through a shared mapping of the file, which set the times late; a
/// network file system whose client still answers with old times; times set back on purpose
/// together with the clock. Whoever has such a file opens it anew.
///
/// Several threads may ask one object at once. They share the table, which one of them makes while
/// the others wait, and nothing else.
class OpenDatabase {
public:
    /// Null if the file cannot be opened; throws std::bad_alloc.
    static std::unique_ptr<OpenDatabase> open(const char *path);

    /// A database in memory, laid out as a file is.
    static std::unique_ptr<OpenDatabase> over(std::vector<unsigned char> bytes);

    ~OpenDatabase();
    OpenDatabase(const OpenDatabase &) = delete;
    OpenDatabase &operator=(const OpenDatabase &) = delete;

    /// Visit the records with this code, in file order. The code ends with its 0, as that of
    /// getTransitionCode(); other lists match nothing. The walk ends early if a record does not fit
    /// into memory.
    void forEachWith(std::span<const int> code, const MoleculeVisitor &visit) const;

    /// Visit all records, in file order.
    void forEach(const MoleculeVisitor &visit) const;

    /// The molecules with this code, in file order: what filterDB() gives.
    std::vector<OwnedMol> moleculesWith(std::span<const int> code) const;

    /// Whether there is no block in use; reads up to the first one.
    bool empty() const;

    /// How many walks the file failed: they may have left records out.
    int failures() const { return failures_; }

private:
    OpenDatabase(std::string path, std::vector<unsigned char> bytes, bool inMemory);
    std::unique_ptr<ByteSource> source() const;
    bool hasTableFor(const ByteSource &source) const;
    std::optional<std::vector<CodeTable::Entry>> entriesFor(const ByteSource &source,
                                                            const StoredCode &code) const;

    std::string path_;
    std::vector<unsigned char> bytes_;
    bool inMemory_;
    mutable std::atomic<int> failures_{0};
    mutable std::mutex mutex_;
    mutable std::unique_ptr<const CodeTable> table_; ///< guarded by the mutex
};

} // namespace saddlefit
