// Passing over records and reading some, beside a plain read of the file and beside SQLite.
#include "reactions.hpp"

#include <cstdio>
#include <sqlite3.h>

namespace bench {
namespace {

// Codes of no reaction: those of ten records of a file, of up to a thousand, and of none.
const Code tenRecords{35, 53, 0}, thousandRecords{17, 53, 0}, noRecord{53, 53, 0};

std::string textOf(const Code &code) {
    std::string text;
    for (const int number : code)
        text += std::to_string(number) + ' ';
    return text;
}

class Sqlite {
public:
    explicit Sqlite(const std::string &path) {
        sqlite3_open(path.c_str(), &connection_);
        run("PRAGMA synchronous = OFF"); // nor does the library wait for the disk
    }
    ~Sqlite() { sqlite3_close(connection_); }
    Sqlite(const Sqlite &) = delete;
    Sqlite &operator=(const Sqlite &) = delete;

    void run(const char *statement) {
        if (sqlite3_exec(connection_, statement, nullptr, nullptr, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(connection_));
    }

    /// A statement, its first values bound in order, and what to do with each row.
    template <class Row>
    void query(const char *statement, const std::vector<std::string> &values, Row row) {
        sqlite3_stmt *prepared = nullptr;
        sqlite3_prepare_v2(connection_, statement, -1, &prepared, nullptr);
        for (int place = 1; const std::string &value : values)
            sqlite3_bind_blob(prepared, place++, value.data(), static_cast<int>(value.size()),
                              SQLITE_STATIC);
        while (sqlite3_step(prepared) == SQLITE_ROW)
            row(prepared);
        sqlite3_finalize(prepared);
    }
    void insert(const std::string &name, const std::string &code, const std::string &record) {
        query("INSERT INTO reactions VALUES (?, ?, ?)", {name, code, record}, [](auto *) {});
    }

private:
    sqlite3 *connection_ = nullptr;
};

/// The same records in both forms.
struct Files {
    Files(int count, const std::vector<Reaction> &reactions) : records(count) {
        std::ofstream stream(ours.path(), std::ios::binary);
        Sqlite database(theirs.path());
        database.run("CREATE TABLE reactions (name TEXT, code BLOB, record BLOB); BEGIN");
        std::map<std::pair<std::size_t, Code>, std::string> blocks;
        for (int i = 0; i < count; ++i) {
            const std::size_t which = static_cast<std::size_t>(i) % reactions.size();
            const Code code = codeAt(i, reactions[which]);
            std::string &block = blocks[{which, code}];
            if (block.empty()) block = blockOf(reactions[which], code);
            stream << block;
            database.insert(reactions[which].name, textOf(code), block);
        }
        database.run("COMMIT; CREATE INDEX codes ON reactions (code)");
    }

    Code codeAt(int i, const Reaction &reaction) const {
        if (i % (records / 10) == 0) return tenRecords;
        if (i % (records / 1000) == 0) return thousandRecords;
        return codeOf(reaction);
    }

    int records;
    ScratchFile ours, theirs;
};

std::size_t readMatching(const std::string &path, const Code &code) {
    std::FILE *file = std::fopen(path.c_str(), "rb");
    std::size_t atoms = 0;
    Molecule *mol = nullptr;
    while (char *name = readDB(file, nullptr, code.data(), &mol)) {
        atoms += static_cast<std::size_t>(mol->atomCount);
        freeMol(mol);
        std::free(name);
    }
    std::fclose(file);
    return atoms;
}

std::size_t selectMatching(const std::string &path, const Code &code) {
    Sqlite database(path);
    std::size_t bytes = 0;
    database.query("SELECT name, record FROM reactions WHERE code = ?", {textOf(code)},
                   [&](auto *row) {
                       const auto *record = static_cast<const char *>(sqlite3_column_blob(row, 1));
                       const auto size = static_cast<std::size_t>(sqlite3_column_bytes(row, 1));
                       bytes += std::string(record, size).size();
                   });
    return bytes;
}

std::size_t readPlainly(const std::string &path) {
    std::vector<char> piece(1 << 20);
    std::FILE *file = std::fopen(path.c_str(), "rb");
    std::size_t bytes = 0;
    while (const std::size_t read = std::fread(piece.data(), 1, piece.size(), file))
        bytes += read;
    std::fclose(file);
    return bytes;
}

void compareReading(const std::shared_ptr<Files> &files) {
    const std::string size = '/' + std::to_string(files->records);
    compare(
        "database/none matches, per record" + size, static_cast<std::size_t>(files->records),
        [files] { benchmark::DoNotOptimize(readMatching(files->ours.path(), noRecord)); }, "fread",
        [files] { benchmark::DoNotOptimize(readPlainly(files->ours.path())); });
    for (const auto &[name, code] : {std::pair{"10 records match", tenRecords},
                                     std::pair{"1,000 records match", thousandRecords}})
        compare(
            std::string("database/") + name + size, 1,
            [files, code = code] {
                benchmark::DoNotOptimize(readMatching(files->ours.path(), code));
            },
            "SQLite",
            [files, code = code] {
                benchmark::DoNotOptimize(selectMatching(files->theirs.path(), code));
            });
}

void compareUpkeep(const std::shared_ptr<Files> &files, const Reaction &reaction) {
    const std::string size = '/' + std::to_string(files->records);
    const std::shared_ptr<Molecule> mol = molecule(reaction);
    const std::string block = blockOf(reaction, noRecord);
    compare(
        "database/names of all records" + size, 1,
        [files] {
            char **names = nullptr;
            const int count = listDB(files->ours.path().c_str(), &names);
            std::for_each_n(names, count, std::free);
            std::free(names);
        },
        "SQLite",
        [files] {
            std::vector<std::string> names;
            Sqlite(files->theirs.path()).query("SELECT name FROM reactions", {}, [&](auto *row) {
                names.emplace_back(static_cast<const char *>(sqlite3_column_blob(row, 0)));
            });
        });
    compare(
        "database/one more record" + size, 1,
        [files, mol] {
            insertDB(files->ours.path().c_str(), strdup("new"), noRecord.data(), mol.get());
        },
        "SQLite",
        [files, block] { Sqlite(files->theirs.path()).insert("new", textOf(noRecord), block); });
}

} // namespace

void addScan() {
    const std::vector<Reaction> reactions = readReactions();
    for (const int records : {1000, 100000, 1000000}) {
        const auto files = std::make_shared<Files>(records, reactions);
        const double bytes = static_cast<double>(std::filesystem::file_size(files->ours.path()));
        benchmark::AddCustomContext("bytes per record of " + std::to_string(records),
                                    std::to_string(bytes / records));
        compareReading(files);
        if (records == 100000) compareUpkeep(files, reactions[0]);
    }
}

} // namespace bench
