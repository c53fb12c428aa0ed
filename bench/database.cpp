// Searches of a database file, beside SQLite and a plain read: each side keeps open what its author
// would keep open.
#include "reactions.hpp"

#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sqlite3.h>

namespace bench {
namespace {

// Codes of no reaction: those of ten records of a file, of up to a thousand, of none, and of those
// that are added.
const Code tenRecords{35, 53, 0}, thousandRecords{17, 53, 0}, noRecord{53, 53, 0},
    newRecord{9, 53, 0};

constexpr std::size_t pieceOfRead = 1 << 18;

/// As it is bound to a statement.
std::string_view bytesOf(const Code &code) {
    return {reinterpret_cast<const char *>(code.data()), code.size() * sizeof code[0]};
}

/// A statement that is prepared once.
class Statement {
public:
    Statement(sqlite3 *connection, const char *text) {
        if (sqlite3_prepare_v2(connection, text, -1, &statement_, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(connection));
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    /// Its values bound in order, and what to do with each row.
    template <class Row> void run(std::initializer_list<std::string_view> values, Row row) {
        for (int place = 1; const std::string_view value : values)
            sqlite3_bind_blob(statement_, place++, value.data(), static_cast<int>(value.size()),
                              SQLITE_STATIC);
        while (sqlite3_step(statement_) == SQLITE_ROW)
            row(statement_);
        sqlite3_reset(statement_);
    }

private:
    sqlite3_stmt *statement_ = nullptr;
};

std::string_view column(sqlite3_stmt *row, int place) {
    const auto *bytes = static_cast<const char *>(sqlite3_column_blob(row, place));
    return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(row, place))};
}

/// A connection that is kept. It does not wait for the disk, as the library does not, reads by
/// mapping the file, and keeps its journal the quickest way.
class Sqlite {
public:
    explicit Sqlite(const std::string &path) {
        sqlite3_open(path.c_str(), &connection_);
        run("PRAGMA journal_mode = WAL; PRAGMA synchronous = OFF; PRAGMA mmap_size = 2147418112;"
            "CREATE TABLE IF NOT EXISTS reactions (name BLOB, code BLOB, record BLOB)");
        insert.emplace(connection_, "INSERT INTO reactions VALUES (?, ?, ?)");
        withCode.emplace(connection_, "SELECT name, record FROM reactions WHERE code = ?");
        names.emplace(connection_, "SELECT name FROM reactions");
    }
    ~Sqlite() {
        insert.reset();
        withCode.reset();
        names.reset();
        sqlite3_close(connection_);
    }
    Sqlite(const Sqlite &) = delete;
    Sqlite &operator=(const Sqlite &) = delete;

    void run(const char *statements) {
        if (sqlite3_exec(connection_, statements, nullptr, nullptr, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(connection_));
    }

private:
    sqlite3 *connection_ = nullptr;

public:
    std::optional<Statement> insert, withCode, names;
};

/// Written in one go: in the small pieces that a file leaves in the system's memory when it grows
/// bit by bit, any reading takes longer.
void writeAtOnce(const std::string &path, const std::string &bytes) {
    const int file = open(path.c_str(), O_WRONLY | O_TRUNC);
    std::size_t done = 0;
    for (ssize_t written = 1; file >= 0 && written > 0 && done < bytes.size();) {
        written = write(file, bytes.data() + done, bytes.size() - done);
        done += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
    }
    close(file);
    if (done < bytes.size()) throw std::runtime_error("a database cannot be written");
}

/// The same records in both forms, open.
struct Files {
    Files(int count, const std::vector<Reaction> &reactions)
        : records(count), peer(std::make_unique<Sqlite>(theirs.path())) {
        peer->run("BEGIN");
        std::map<std::pair<std::size_t, Code>, std::string> blocks;
        std::string all;
        for (int i = 0; i < count; ++i) {
            const std::size_t which = static_cast<std::size_t>(i) % reactions.size();
            const Code code = codeAt(i, reactions[which]);
            std::string &block = blocks[{which, code}];
            if (block.empty()) block = blockOf(reactions[which], code);
            all += block;
            peer->insert->run({reactions[which].name, bytesOf(code), block}, [](auto *) {});
        }
        peer->run("COMMIT; CREATE INDEX codes ON reactions (code);"
                  "CREATE INDEX names ON reactions (name); PRAGMA wal_checkpoint(TRUNCATE)");
        writeAtOnce(ours.path(), all);
        database.reset(openReactionDatabase(ours.path().c_str()));
    }

    Code codeAt(int i, const Reaction &reaction) const {
        if (i % (records / 10) == 0) return tenRecords;
        if (i % (records / 1000) == 0) return thousandRecords;
        return codeOf(reaction);
    }

    int records;
    ScratchFile ours, theirs;
    std::unique_ptr<Sqlite> peer;
    std::unique_ptr<ReactionDatabase, decltype(&closeReactionDatabase)> database{
        nullptr, &closeReactionDatabase};
};

/// What a search finds: records, the letters of their names, their atoms.
struct Found {
    std::size_t records = 0, letters = 0, atoms = 0;

    void add(std::string_view name, int atomCount) {
        ++records;
        letters += name.size();
        atoms += static_cast<std::size_t>(atomCount);
    }
    bool operator==(const Found &) const = default;
};

Found visitMatching(const ReactionDatabase &database, const Code &code) {
    Found found;
    const StructureVisitor visit = [](Molecule *mol, int, void *context) {
        static_cast<Found *>(context)->add(mol->name, mol->atomCount);
        freeMol(mol);
        return 0;
    };
    visitReactions(&database, code.data(), visit, &found);
    return found;
}

Found streamMatching(const std::string &path, const Code &code) {
    std::FILE *file = std::fopen(path.c_str(), "rb");
    Found found;
    Molecule *mol = nullptr;
    while (char *name = readDB(file, nullptr, code.data(), &mol)) {
        found.add(name, mol->atomCount);
        freeMol(mol);
        std::free(name);
    }
    std::fclose(file);
    return found;
}

/// Copies each record. The number of atoms stands behind the block's head, the name and the code,
/// each with its length.
Found selectMatching(Sqlite &database, const Code &code) {
    Found found;
    database.withCode->run({bytesOf(code)}, [&](auto *row) {
        const std::string record(column(row, 1));
        const auto numberAt = [&](std::size_t at) {
            return static_cast<unsigned char>(record[at]) |
                   static_cast<unsigned char>(record[at + 1]) << 8;
        };
        const std::size_t name = 5, codes = name + 2 + static_cast<std::size_t>(numberAt(name)),
                          atoms = codes + 2 + 2 * static_cast<std::size_t>(numberAt(codes));
        found.add(column(row, 0), numberAt(atoms));
    });
    return found;
}

std::size_t readPlainly(const std::string &path, std::vector<char> &piece) {
    std::FILE *file = std::fopen(path.c_str(), "rb");
    std::setvbuf(file, nullptr, _IONBF, 0);
    std::size_t bytes = 0;
    while (const std::size_t read = std::fread(piece.data(), 1, piece.size(), file))
        bytes += read;
    std::fclose(file);
    return bytes;
}

/// Both roads through the file, beside a plain read of it into a buffer that is kept.
void comparePassing(const std::shared_ptr<Files> &files) {
    const std::string size = '/' + std::to_string(files->records);
    const auto items = static_cast<std::size_t>(files->records);
    const auto piece = std::make_shared<std::vector<char>>(pieceOfRead);
    const auto plain = [files, piece] {
        benchmark::DoNotOptimize(readPlainly(files->ours.path(), *piece));
    };
    compare(
        "database/passing over, per record" + size, items,
        [files] { benchmark::DoNotOptimize(streamMatching(files->ours.path(), noRecord)); },
        "fread", plain);
    compare(
        "database/first search, per record" + size, items,
        [files] {
            ReactionDatabase *database = openReactionDatabase(files->ours.path().c_str());
            benchmark::DoNotOptimize(visitMatching(*database, noRecord));
            closeReactionDatabase(database);
        },
        "fread", plain);
}

void compareMatching(const std::shared_ptr<Files> &files) {
    for (const auto &[name, code] : {std::pair{"10 records match", tenRecords},
                                     std::pair{"1,000 records match", thousandRecords}}) {
        const Found found = visitMatching(*files->database, code);
        if (!(found == streamMatching(files->ours.path(), code)) ||
            !(found == selectMatching(*files->peer, code)))
            throw std::runtime_error("the answers differ");
        const std::string beginning =
            std::string("database/") + name + '/' + std::to_string(files->records);
        compare(
            beginning, 1,
            [files, code = code] {
                benchmark::DoNotOptimize(visitMatching(*files->database, code));
            },
            "SQLite",
            [files, code = code] { benchmark::DoNotOptimize(selectMatching(*files->peer, code)); });
        measure(beginning + "/stream", 1, [files, code = code] {
            benchmark::DoNotOptimize(streamMatching(files->ours.path(), code));
        });
    }
}

void compareNames(const std::shared_ptr<Files> &files) {
    compare(
        "database/names of all records/" + std::to_string(files->records), 1,
        [files] {
            char **names = nullptr;
            const int count = listDB(files->ours.path().c_str(), &names);
            std::for_each_n(names, count, std::free);
            std::free(names);
        },
        "SQLite",
        [files] {
            std::vector<std::string> names;
            files->peer->names->run({}, [&](auto *row) { names.emplace_back(column(row, 0)); });
        });
}

/// To files of their own, for they grow.
void compareInsertion(int records, const std::vector<Reaction> &reactions) {
    const auto files = std::make_shared<Files>(records, reactions);
    const std::shared_ptr<Molecule> mol = molecule(reactions[0]);
    const std::shared_ptr<StoreWriter> writer(openStoreWriter(files->ours.path().c_str()),
                                              &closeStoreWriter);
    const std::string block = blockOf(reactions[0], newRecord);
    const std::string beginning = "database/one more record/" + std::to_string(records);
    compare(
        beginning, 1,
        [files, writer, mol] {
            unsigned char *record = nullptr;
            const auto length = packRecord("new", newRecord.data(), mol.get(), &record);
            if (insertPacked(writer.get(), record, length) == 0)
                throw std::runtime_error("a record cannot be stored");
            std::free(record);
        },
        "SQLite",
        [files, block] {
            files->peer->insert->run({"new", bytesOf(newRecord), block}, [](auto *) {});
        });
}

} // namespace

void addScan() {
    const std::vector<Reaction> reactions = readReactions();
    for (const int records : {1000, 100000, 1000000}) {
        const auto files = std::make_shared<Files>(records, reactions);
        const double bytes = static_cast<double>(std::filesystem::file_size(files->ours.path()));
        benchmark::AddCustomContext("bytes per record of " + std::to_string(records),
                                    std::to_string(bytes / records));
        comparePassing(files);
        compareMatching(files);
        if (records > 1000) compareNames(files);
    }
    compareInsertion(100000, reactions);
}

} // namespace bench
