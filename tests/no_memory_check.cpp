/// Lets every single request for memory fail, one after another, in each of the library's larger
/// operations: nothing may crash, leak (under the address sanitizer), or be left half-done that the
/// headers promise to be restored. Requests are wrapped by the linker (--wrap).
#include "saddlefit/saddlefit.h"

#include "tests/molecules.hpp"

#include <cstdio>
#include <cstdlib>
#include <memory_resource>
#include <new>
#include <numeric>
#include <utility>

namespace {

/// Requests that still succeed; below 0 all do.
long left = -1;
bool failsForGood = false, failed = false;

bool mayNot() {
    if (left < 0 || left-- > 0) return false;
    failed = true;
    left = failsForGood ? 0 : -1;
    return true;
}

} // namespace

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *block, std::size_t size);
void *__real__Znwm(std::size_t size);
void *__wrap_malloc(std::size_t size) {
    return mayNot() ? nullptr : __real_malloc(size);
}
void *__wrap_calloc(std::size_t count, std::size_t size) {
    return mayNot() ? nullptr : __real_calloc(count, size);
}
void *__wrap_realloc(void *block, std::size_t size) {
    return mayNot() ? nullptr : __real_realloc(block, size);
}
void *__wrap__Znwm(std::size_t size) { // operator new
    if (mayNot()) throw std::bad_alloc();
    return __real__Znwm(size);
}
}

namespace {

using namespace saddlefit;
using namespace saddlefit::test;

class FailingResource : public std::pmr::memory_resource {
    void *do_allocate(std::size_t size, std::size_t alignment) override {
        if (mayNot()) throw std::bad_alloc();
        return std::pmr::new_delete_resource()->allocate(size, alignment);
    }
    void do_deallocate(void *block, std::size_t size, std::size_t alignment) override {
        std::pmr::new_delete_resource()->deallocate(block, size, alignment);
    }
    bool do_is_equal(const std::pmr::memory_resource &other) const noexcept override {
        return this == &other;
    }
};

int faults = 0;

void expect(bool held, const char *what) {
    if (held) return;
    std::printf("%s\n", what);
    ++faults;
}

/// What a test needs of its own is to be had at any time.
template <class Make> auto calmly(Make make) {
    const long kept = std::exchange(left, -1);
    auto made = make();
    left = kept;
    return made;
}

/// A zigzag chain with a ring at its beginning, whose second bond gives way to another one.
OwnedMol chain(int atoms, int oxygen) {
    return calmly([=] {
        std::vector<At> at;
        for (int i = 0; i < atoms; ++i)
            at.push_back({i == oxygen ? 8 : 6, 1.3 * i, 0.8 * (i % 2), 0.1 * (i % 3)});
        OwnedMol mol = molecule(at, "0 5 1", {{1, 2, 1, 3}});
        for (int i = 1; i < atoms; ++i)
            addBond(mol.get(), i - 1, i, 1);
        return mol;
    });
}

TemporaryFile database;

void fillDatabase() {
    for (int i = 0; i < 6; ++i) {
        const OwnedMol mol = chain(12 + i % 3, 7 + i % 2);
        const OwnedBlock<int> code(getTransitionCode(mol.get()));
        insertDB(database.path(), strdup("stored under a long name"), code.get(), mol.get());
    }
}

void runReaction() {
    const OwnedMol mol = chain(13, 8);
    C_startReaction(mol.get(), database.path());
    C_finishReaction(mol.get());
    left = -1; // and afterwards everything is usable
    addAtom(mol.get(), 0, 0, 0, 6);
    addBond(mol.get(), 0, mol->atomCount - 1, 1);
    for (int i = 0; i < mol->atomCount; ++i)
        getBond(mol.get(), i, 0);
}

void map() {
    const OwnedMol pattern = chain(12, 7), target = chain(14, 7);
    auto [codes, inverse] =
        calmly([] { return std::pair(Ints(12, MAP_OPTIONAL), Ints(14, MAP_OPTIONAL)); });
    int solution[12], *solutions = solution, count = 99;
    const double x = target->atoms[3].x;
    const int depth = mapSub(pattern.get(), target.get(), codes.data(), &solutions, nullptr, &count,
                             1, inverse.data(), 1, 1);
    left = -1;
    expect(codes == Ints(12, MAP_OPTIONAL), "mapSub left the codes changed");
    expect(inverse == Ints(14, MAP_OPTIONAL), "mapSub left the inverse changed");
    expect(target->atoms[3].x == x, "mapSub left the target mirrored");
    expect(depth >= 0 || (depth == -10 && count == 0), "mapSub failed with a count");
}

void growBehindTheIndex() {
    const OwnedMol mol = chain(5, 4);
    createBondlink(mol.get());
    C_setAtom(mol.get(), 400, 6, 0, nullptr, 0, 0, 0);
    addBond(mol.get(), 0, 400, 1);
    left = -1;
    expect((getBond(mol.get(), 0, 400) != nullptr) == (getBondNumber(mol.get(), 0, 400) >= 0) ||
               mol->atomCount < 401,
           "a bond that exists is not found");
}

void readDatabase() {
    char **names = nullptr;
    const int listed = listDB(database.path(), &names);
    for (int i = 0; i < listed; ++i)
        std::free(names[i]);
    std::free(static_cast<void *>(names));
}

void geometry() {
    const OwnedMol mol = chain(12, 7), other = chain(12, 7);
    int same[12];
    std::iota(same, same + 12, 0);
    alignMapMols(mol.get(), other.get(), same, nullptr, nullptr);
    constrainSub(mol.get(), other.get(), same, 7);
    freezeSub(mol.get(), other.get(), same);
    recheckBonds(mol.get());
    genTransition(mol.get(), "a b c d e f g h");
}

/// The number of requests that an operation makes, each of which has failed once.
int failEach(void (*operation)()) {
    for (int n = 0;; ++n) {
        failed = false;
        left = n;
        operation();
        left = -1;
        staticFree();
        if (!failed) return n;
    }
}

} // namespace

int main() {
    FailingResource resource;
    std::pmr::set_default_resource(&resource);
    fillDatabase();
    const struct {
        const char *name;
        void (*operation)();
    } rows[] = {{"a reaction from start to finish", runReaction},
                {"mapping", map},
                {"growing behind the index", growBehindTheIndex},
                {"listing a database", readDatabase},
                {"superposing, constraining, freezing, perceiving", geometry}};
    for (const auto &row : rows) {
        for (const bool forGood : {false, true}) {
            failsForGood = forGood;
            int requests = 0;
            printed([&] { requests = failEach(row.operation); });
            std::printf("%s: %d requests failed%s\n", row.name, requests,
                        forGood ? " for good" : "");
        }
    }
    return faults == 0 ? 0 : 1;
}
