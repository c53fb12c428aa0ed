/// The block heap against a model that keeps the file as an array of bytes.
#include "saddlefit/database.h"

#include "tests/fuzz/bytes.hpp"

using namespace saddlefit;
using namespace saddlefit::fuzz;

namespace {

/// Files stay below this, so that the model holds them. A block may still claim more than any file
/// can have.
constexpr std::int64_t largestFile = 1 << 20;
constexpr std::uint32_t usualSize = 4096;

constexpr std::int64_t furthest = INT32_MAX;

/// What a call answers and prints.
struct Answer {
    std::uint32_t result;
    std::vector<int> lines; // the numbers in its error lines

    bool operator==(const Answer &) const = default;
};

class HeapModel {
public:
    explicit HeapModel(std::vector<std::uint8_t> file) : file_(std::move(file)) {}

    const std::vector<std::uint8_t> &file() const { return file_; }

    Answer allocate(std::uint32_t size) {
        std::int64_t at = 0;
        while (hasHeader(at)) {
            const std::uint32_t capacity = sizeAt(at);
            if (statusAt(at) == 0 && capacity >= size) {
                file_[static_cast<std::size_t>(at + 4)] = 1;
                return {static_cast<std::uint32_t>(at + 5), {}};
            }
            at += 5 + std::int64_t{capacity};
            if (at > furthest) return {0, {84}};
        }
        const std::uint8_t header[] = {
            static_cast<std::uint8_t>(size), static_cast<std::uint8_t>(size >> 8),
            static_cast<std::uint8_t>(size >> 16), static_cast<std::uint8_t>(size >> 24), 1};
        put(at, header);
        return {static_cast<std::uint32_t>(at + 5), {}};
    }

    Answer release(std::uint32_t handle) {
        if (handle == 0) return {1, {}};
        const std::int64_t at = headerOf(handle);
        if (at > furthest) return {0, {56}};
        if (!hasHeader(at)) return {0, {57}};
        if (statusAt(at) != 1) return {0, {58}};
        file_[static_cast<std::size_t>(at + 4)] = 0;
        return {1, {}};
    }

    Answer move(std::uint32_t handle, std::uint32_t size) {
        if (handle == 0) return allocate(size);
        const std::int64_t at = headerOf(handle);
        if (at > furthest) return {0, {107}};
        if (!hasHeader(at)) return {0, {108}};
        const std::uint32_t capacity = sizeAt(at);
        if (size <= capacity) return {handle, {}};
        const Answer moved = allocate(size);
        if (moved.result == 0) return moved;
        if (!holds(handle, capacity)) return undone(moved.result, {124});
        const auto from = file_.begin() + handle;
        put(moved.result, std::vector<std::uint8_t>(from, from + capacity));
        Answer released = release(handle);
        if (released.result) return moved;
        released.lines.push_back(137);
        return undone(moved.result, released.lines);
    }

    Answer write(std::span<const std::uint8_t> bytes, std::int32_t offset) {
        if (offset < 0) return {0, {25}};
        put(offset, bytes);
        return {1, {}};
    }

    bool holds(std::int64_t at, std::int64_t length) const {
        return at + length <= static_cast<std::int64_t>(file_.size());
    }

    /// Whether a walk from block to block ends within the model's reach or beyond the file's.
    bool walkable() const {
        std::int64_t at = 0;
        while (hasHeader(at))
            at += 5 + std::int64_t{sizeAt(at)};
        return at <= largestFile || at > furthest;
    }

    std::uint32_t sizeAt(std::int64_t at) const {
        std::uint32_t size = 0;
        for (int i = 3; i >= 0; --i)
            size = size << 8 | file_[static_cast<std::size_t>(at + i)];
        return size;
    }
    bool hasHeader(std::int64_t at) const { return holds(at, 4); }
    static std::int64_t headerOf(std::uint32_t handle) { return std::uint32_t{handle - 5}; }

private:
    int statusAt(std::int64_t at) const {
        return holds(at, 5) ? file_[static_cast<std::size_t>(at + 4)] : 255;
    }
    void put(std::int64_t at, std::span<const std::uint8_t> bytes) {
        if (bytes.empty()) return;
        const auto place = static_cast<std::size_t>(at);
        file_.resize(std::max(file_.size(), place + bytes.size()));
        std::ranges::copy(bytes, file_.begin() + at);
    }
    Answer undone(std::uint32_t moved, std::vector<int> lines) {
        const Answer released = release(moved);
        lines.insert(lines.end(), released.lines.begin(), released.lines.end());
        return {0, lines};
    }

    std::vector<std::uint8_t> file_;
};

/// Catches what a call prints on standard output.
class Printed {
public:
    Printed() : before_(stdout) { stdout = open_memstream(&text_, &length_); }
    ~Printed() {
        close();
        std::free(text_);
    }
    Printed(const Printed &) = delete;
    Printed &operator=(const Printed &) = delete;

    std::vector<int> lineNumbers() {
        close();
        std::vector<int> numbers;
        int used = 0;
        for (const char *at = text_; *at; at += used) {
            int number = 0;
            used = 0;
            std::sscanf(at, "Error: (database/fmem,%d) %*[^\n]\n%n", &number, &used);
            require(used > 0, "each line printed is an error line");
            numbers.push_back(number);
        }
        return numbers;
    }

private:
    void close() {
        if (stdout == before_) return;
        std::fclose(stdout);
        stdout = before_;
    }
    std::FILE *before_;
    char *text_ = nullptr;
    std::size_t length_ = 0;
};

/// A heap in a file, beside its model.
class Heap {
public:
    Heap(const ScratchFile &file, HeapModel model)
        : model_(std::move(model)), stream_(std::fopen(file.path(), "r+b")) {
        require(stream_, "the file can be opened");
    }
    ~Heap() {
        if (stream_) std::fclose(stream_);
    }
    Heap(const Heap &) = delete;
    Heap &operator=(const Heap &) = delete;

    void step(Bytes &bytes) {
        switch (bytes.below(8)) {
        case 0:
        case 1:
        case 2:
            return allocate(size(bytes));
        case 3:
            return release(handle(bytes));
        case 4:
        case 5:
            return move(handle(bytes), size(bytes));
        case 6:
            return write(bytes);
        default:
            return read(bytes);
        }
    }
    const HeapModel &model() const { return model_; }
    void finish() {
        require(std::fclose(stream_) == 0, "the file can be closed");
        stream_ = nullptr;
    }

private:
    static std::uint32_t size(Bytes &bytes) {
        const int choice = bytes.byte();
        if (choice < 200) return static_cast<std::uint32_t>(choice);
        if (choice < 240)
            return static_cast<std::uint32_t>(choice * 256 + bytes.byte()) % usualSize;
        return UINT32_MAX - static_cast<std::uint32_t>(bytes.byte()); // beyond every offset
    }
    std::uint32_t handle(Bytes &bytes) const {
        const int choice = bytes.byte();
        if (choice < 224 && !handles_.empty())
            return handles_[static_cast<std::size_t>(choice) % handles_.size()];
        return choice < 248 ? static_cast<std::uint32_t>(bytes.byte()) : bytes.word();
    }
    static std::int32_t offset(Bytes &bytes) {
        const int choice = bytes.byte();
        return choice < 250 ? choice * 16 + bytes.below(16) : -choice;
    }

    template <class Call> void compare(const Answer &expected, Call call) {
        Printed printed;
        const auto result = static_cast<std::uint32_t>(call());
        const Answer answer{result, printed.lineNumbers()};
        require(answer == expected, "the heap answers as its model does");
    }

    void allocate(std::uint32_t size) {
        const Answer expected = model_.allocate(size);
        compare(expected, [&] { return Fmalloc(size, stream_); });
        if (expected.result) handles_.push_back(expected.result);
    }
    void release(std::uint32_t handle) {
        compare(model_.release(handle), [&] { return Ffree(handle, stream_); });
    }
    void move(std::uint32_t handle, std::uint32_t size) {
        const std::int64_t at = HeapModel::headerOf(handle);
        // To copy gigabytes that a header claims takes time and, where it has it, memory.
        if (model_.hasHeader(at) && model_.sizeAt(at) > usualSize && size > model_.sizeAt(at))
            return;
        const Answer expected = model_.move(handle, size);
        compare(expected, [&] { return Frealloc(handle, size, stream_); });
        if (expected.result) handles_.push_back(expected.result);
    }
    void write(Bytes &bytes) {
        std::array<std::uint8_t, 64> items;
        items.fill(static_cast<std::uint8_t>(bytes.byte()));
        const std::uint32_t itemSize = 1 + static_cast<std::uint32_t>(bytes.below(8));
        const auto count = static_cast<std::uint32_t>(bytes.below(9));
        const std::int32_t at = offset(bytes);
        const Answer expected = model_.write({items.data(), itemSize * count}, at);
        compare(expected, [&] { return Fwrite(items.data(), itemSize, count, at, stream_); });
    }
    void read(Bytes &bytes) {
        std::array<std::uint8_t, 64> items{};
        const std::uint32_t itemSize = 1 + static_cast<std::uint32_t>(bytes.below(8));
        const auto count = static_cast<std::uint32_t>(bytes.below(9));
        const std::int32_t at = offset(bytes);
        const std::int64_t length = std::int64_t{itemSize} * count;
        const bool there = at >= 0 && (length == 0 || model_.holds(at, length));
        const Answer expected = at < 0 ? Answer{0, {14}} : there ? Answer{1, {}} : Answer{0, {15}};
        compare(expected, [&] { return Fread(items.data(), itemSize, count, at, stream_); });
        if (!there || length == 0) return;
        require(std::equal(items.begin(), items.begin() + length, model_.file().begin() + at),
                "what is read is what was written");
    }

    HeapModel model_;
    std::FILE *stream_;
    std::vector<std::uint32_t> handles_; // all that were ever handed out
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const ScratchFile file;
    Bytes bytes(data, size);
    const auto start = static_cast<std::size_t>(bytes.flag() ? bytes.byte() : 0);
    const auto given = bytes.rest().first(std::min(start, bytes.rest().size()));
    HeapModel model({given.begin(), given.end()});
    if (!model.walkable()) return -1;
    file.write(given);
    bytes = Bytes(given.data() + given.size(), bytes.rest().size() - given.size());

    Heap heap(file, std::move(model));
    while (!bytes.empty() && heap.model().walkable())
        heap.step(bytes);
    heap.finish();
    require(file.read() == heap.model().file(), "the file is what the model holds");
    return 0;
}
