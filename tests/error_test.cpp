/// What an error says of itself beside its message, and what the command line makes of it.
#include "cli/report.hpp"
#include "host/answers/answer.hpp"
#include "host/store/database_file.hpp"
#include "host/structures/reader.hpp"
#include "tests/command_line.hpp"

namespace {

using namespace saddlefit::host;
using saddlefit::cli::messageOf;

class Facts : public saddlefit::test::CommandLineTest {
protected:
    std::optional<Error> thrownBy(const std::function<void()> &body) const {
        try {
            body();
        } catch (const Error &error) {
            return error;
        }
        return std::nullopt;
    }
};

TEST_F(Facts, TellKindPlaceAtomsAndRemedy) {
    write("a.sdf", "first\n\n\n  1  0  0  0  0  0            999 V2000\n"
                   "    0.0000    0.0000    0.0000 C   0\nM  END\n$$$$\n"
                   "second\n\n\n  2  0  0  0  0  0            999 V2000\n"
                   "    0.0000    0.0000    0.0000 C   0\n"
                   "    0.0000    0.0000    1.0000 *   0\nM  END\n$$$$\n");
    write("cut.db", std::string("\0\0\0\2\1\0\0", 7));
    const auto secondRecord = [&] { structureOf(RecordFile(file("a.sdf")).read(1)); };
    const auto impossibleSpin = [&] {
        Reaction reaction;
        reaction.reactant.origin = {"a.sdf", 7, "x"};
        reaction.reactant.atoms = reaction.product.atoms = {{1, 0, {}}, {1, 0, {0, 0, 1}}};
        AnswerOptions options;
        options.unpaired = 1;
        write("empty.db", "");
        answerTo(reaction, StoredReactions(file("empty.db")), options);
    };
    const struct {
        std::function<void()> body;
        ErrorKind kind;
        std::string file;
        std::optional<std::size_t> record;
        std::vector<int> atoms;
        Remedy remedy;
        const char *end; // of the command line's message
    } rows[] = {
        {secondRecord, ErrorKind::input, file("a.sdf"), 2, {1}, Remedy::none, "in the file"},
        {impossibleSpin,
         ErrorKind::input,
         "a.sdf",
         7,
         {},
         Remedy::electrons,
         "unpaired; correct --charge or --uhf"},
        {[&] { RecordFile(file("none.sdf")); },
         ErrorKind::input,
         file("none.sdf"),
         {},
         {},
         Remedy::none,
         "your rights"},
        {[&] { openDatabase(file("cut.db")); },
         ErrorKind::damage,
         file("cut.db"),
         {},
         {},
         Remedy::makeOrCheckDatabase,
         "\"saddlefit db check\" what is wrong"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.end);
        const auto error = thrownBy(row.body);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->kind(), row.kind);
        EXPECT_EQ(error->place().file, row.file);
        EXPECT_EQ(error->place().record, row.record);
        EXPECT_EQ(error->atoms(), row.atoms);
        EXPECT_EQ(error->remedy(), row.remedy);
        EXPECT_TRUE(messageOf(*error).starts_with(error->place().text() + ": "));
        EXPECT_TRUE(messageOf(*error).ends_with(row.end)) << messageOf(*error);
    }
}

} // namespace
