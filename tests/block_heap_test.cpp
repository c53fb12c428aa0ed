#include "saddlefit/database.h"

#include "database/stream.hpp"
#include "tests/database_file.hpp"

#include <gtest/gtest.h>

using namespace saddlefit;
using namespace saddlefit::test;
using namespace std::string_literals;
using File = DatabaseFile;

TEST(BlockHeap, TakesTheFirstFreeBlockThatFitsOrAppends) {
    const std::string used = block("used!"), free50 = block(std::string(50, 'f'), 0),
                      free200 = block(std::string(200, 'g'), 0);
    const struct {
        const char *label;
        std::string before;
        uint32_t request, handle;
        std::string header;
    } rows[] = {
        {"empty file", "", 300, 5, "\x2C\1\0\0\1"s},
        {"first that just fits", used + free50 + free200, 50, 15, head(50, 1)},
        {"one too small", free50 + free200, 51, 60, head(200, 1)},
        {"status 2 is not free", block("ab", 2), 1, 12, head(1, 1)},
        {"data not written yet", head(20, 1), 1, 30, head(1, 1)},
        {"header cut off", used + "\7\0\0", 1, 15, head(1, 1)},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const File file(row.before);
        OwnedFile stream = file.open();
        EXPECT_EQ(Fmalloc(row.request, stream.get()), row.handle);
        std::fputs("data", stream.get());
        stream.reset();
        EXPECT_EQ(file.bytes().substr(row.handle - 5, 9), row.header + "data");
    }
}

TEST(BlockHeap, MovesTheWholeOldCapacity) {
    const File file(block("0123456789") + block("next"));
    OwnedFile stream = file.open();
    EXPECT_EQ(Frealloc(5, 10, stream.get()), 5u);
    EXPECT_EQ(Frealloc(5, 12, stream.get()), 29u);
    EXPECT_EQ(Frealloc(0, 9, stream.get()), 5u);
    stream.reset();
    EXPECT_EQ(file.bytes(), block("0123456789") + block("next") + head(12, 1) + "0123456789");
}

TEST(BlockHeap, ReportsTheFailingStepAndUndoesIt) {
    enum Call { get, put, release, allocate, move };
    const auto run = [](Call call, uint32_t handle, uint32_t size, FILE *stream) -> uint32_t {
        char items[80] = {};
        const auto offset = static_cast<int32_t>(handle);
        if (call == get) return Fread(items, 2, size, offset, stream) != 0;
        if (call == put) return Fwrite(items, 2, size, offset, stream) != 0;
        if (call == release) return Ffree(handle, stream) != 0;
        return call == move ? Frealloc(handle, size, stream) : Fmalloc(size, stream);
    };
    const std::string used = block("abcd"), free8 = block("........", 0);
    const struct {
        const char *label, *mode;
        std::string before;
        Call call;
        uint32_t handle, size;
        std::vector<int> lines;
    } rows[] = {
        {"read seeks", "rb", used, get, 0xFFFFFFFFu, 1, {14}},
        {"read ends", "rb", used, get, 6, 2, {15}},
        {"write seeks", "r+b", used, put, 0x80000000u, 1, {25}},
        {"write refused", "rb", used, put, 0, 1, {26}},
        {"nothing to free", "rb", used, release, 0, 0, {}},
        {"free below the first", "r+b", used, release, 3, 0, {56}},
        {"free beyond offsets", "r+b", used, release, 0x80000005u, 0, {56}},
        {"free behind the end", "r+b", used, release, 14, 0, {57}},
        {"free twice", "r+b", free8, release, 5, 0, {58}},
        {"free refused", "rb", used, release, 5, 0, {61}},
        {"reuse refused", "rb", free8, allocate, 0, 8, {80}},
        {"size beyond offsets", "r+b", used + head(0x7FFFFFF2u, 1), allocate, 0, 1, {84}},
        {"size that wraps", "r+b", head(0xFFFFFFFBu, 1), allocate, 0, 1, {84}},
        {"append refused", "rb", used, allocate, 0, 8, {92}},
        {"move within its size", "rb", free8, move, 5, 8, {}},
        {"move below the first", "r+b", used, move, 4, 9, {107}},
        {"move from behind the end", "r+b", used, move, 14, 9, {108}},
        {"move refused", "rb", used, move, 5, 9, {92}},
        {"move of data cut off", "r+b", free8 + head(5, 1) + "abcd", move, 18, 8, {124}},
        {"move of a free block", "r+b", block("..", 0) + free8, move, 5, 8, {58, 137}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const File file(row.before);
        OwnedFile stream = file.open(row.mode);
        uint32_t result = 99;
        EXPECT_EQ(printed([&] { result = run(row.call, row.handle, row.size, stream.get()); }),
                  errorLines(row.lines));
        EXPECT_EQ(result == 0, !row.lines.empty());
        stream.reset();
        EXPECT_EQ(file.bytes(), row.before);
    }
}

TEST(BlockHeap, ReleasesTheNewBlockOfAMoveThatCannotBeWritten) {
    const std::string before = block(std::string(20000, 'o'));
    const File file(before);
    OwnedFile stream = file.open();
    {
        const DiskLimit full(before.size() + 9);
        EXPECT_EQ(printed([&] { EXPECT_EQ(Frealloc(5, 20001, stream.get()), 0u); }),
                  errorLines({132}));
    }
    stream.reset();
    EXPECT_EQ(file.bytes().substr(0, before.size() + 5), before + head(20001, 0));
}

TEST(Fields, KeepTheirByteOrderAndReadAllBitsSetBehindTheEnd) {
    const File file;
    const OwnedFile stream = file.open();
    EXPECT_EQ(Fwrite2cF(0x1234, stream.get()), 0x12);
    EXPECT_EQ(Fwrite4cF(0x92345678u, stream.get()), 0x92);
    EXPECT_EQ(Fwrite4fF(1.0f, stream.get()), 0x3F);
    EXPECT_EQ(Fwrite1cBuf("\x7F\x81", 2, stream.get()), 2u);
    std::rewind(stream.get());
    EXPECT_EQ(file.bytes(), "\x34\x12\x78\x56\x34\x92\0\0\x80\x3F\x7F\x81"s);
    EXPECT_EQ(Fread2cF(stream.get()), 0x1234);
    EXPECT_EQ(Fread4cF(stream.get()), 0x92345678u);
    EXPECT_EQ(Fread4fF(stream.get()), 1.0f);
    EXPECT_EQ(Fread4cF(stream.get()), 0xFFFF817Fu);
    EXPECT_EQ(Fread2cF(stream.get()), 0xFFFF);
}

TEST(ByteOrder, IsReversedInEveryWidth) {
    const auto bytes = [](auto value) {
        return std::string(reinterpret_cast<const char *>(&value), sizeof value);
    };
    const auto swapped = [&](auto swap, auto value) {
        std::string reversed = bytes(value);
        std::ranges::reverse(reversed);
        swap(&value);
        EXPECT_EQ(bytes(value), reversed) << sizeof value;
    };
    swapped(swapShort, int16_t{0x0102});
    swapped(swapUShort, uint16_t{0xFF01});
    swapped(swapInt, 0x01020304);
    swapped(swapUInt, 0xF1020304u);
    swapped(swapFloat, std::bit_cast<float>(0x01020304));
    swapped(swapDouble, std::bit_cast<double>(0x0102030405060708));
    const auto filled = [](auto fill, auto from) {
        unsigned char out[9] = "........";
        return fill(from, out), std::string(out, out + 8);
    };
    const auto *digits = reinterpret_cast<const unsigned char *>("12345678");
    EXPECT_EQ(filled(swapIntToChar, 0x01020304), "\1\2\3\4....");
    EXPECT_EQ(filled(swapFloatToChar, 1.0f), "\x3F\x80\0\0...."s);
    EXPECT_EQ(filled(swapDoubleToChar, 1.0), "\x3F\xF0\0\0\0\0\0\0"s);
    EXPECT_EQ(filled(swapCharToInt, digits), "4321....");
    EXPECT_EQ(filled(swapCharToFloat, digits), "4321....");
    EXPECT_EQ(filled(swapCharToDouble, digits), "87654321");
}
