#include "saddlefit/store.h"

#include "saddlefit/reaction.h"

#include "database/many_records.hpp"
#include "database/record_packer.hpp"
#include "database/survey.hpp"
#include "molecule/memory.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

using namespace saddlefit;

static_assert(STORE_HEADER_SIZE == blockHeaderSize);

struct StoreFile {
    std::unique_ptr<ByteSource> source;
    StrictFile file;

    explicit StoreFile(std::unique_ptr<ByteSource> from)
        : source(std::move(from)), file(*source, getTransitionCode) {}
};

struct StoreWriter {
    std::unique_ptr<ManyRecords> file;
};

namespace {

StoreDamage told(const Damage &damage) {
    StoreDamage result{damage.offset, {}};
    const std::size_t length = std::min(damage.what.size(), sizeof result.what - 1);
    std::memcpy(result.what, damage.what.data(), length);
    return result;
}

/// A block of the C heap with a copy; throws std::bad_alloc.
template <class T, class Range> OwnedBlock<T> copied(const Range &range) {
    OwnedBlock<T> block(allocateArray<T>(range.size()));
    if (!block) throw std::bad_alloc();
    std::ranges::copy(range, block.get());
    return block;
}

StoreFile *openFrom(std::unique_ptr<ByteSource> source) {
    return source ? std::make_unique<StoreFile>(std::move(source)).release() : nullptr;
}

int readRecord(StrictFile &file, const StoreBlock &block, StoredRecord &record, StoreDamage &damage,
               Depth depth) {
    const auto size = static_cast<std::size_t>(std::max<std::int64_t>(block.end - block.data, 0));
    auto reading = readStrictly(file.window, block.data, size, file.codeOf, depth);
    if (const auto *found = std::get_if<Damage>(&reading)) {
        damage = told(*found);
        return 0;
    }
    auto &sound = *std::get_if<SoundRecord>(&reading);
    const RecordLayout &layout = sound.layout;
    OwnedBlock<std::int32_t> code = copied<std::int32_t>(sound.code);
    record = {sound.name.release(),
              code.release(),
              static_cast<int>(layout.codes),
              static_cast<int>(layout.atoms),
              static_cast<int>(layout.bonds),
              static_cast<int>(layout.transitions),
              static_cast<std::int64_t>(layout.length()),
              sound.molecule.release()};
    return 1;
}

int guardedReading(StoreFile *file, const StoreBlock *block, StoredRecord *record,
                   StoreDamage *damage, Depth depth) {
    return guarded(-1, [&] { return readRecord(file->file, *block, *record, *damage, depth); });
}

/// What `body` gives, or null with errno set if there is no memory.
template <class T, class Body> T *opened(Body body) {
    return guarded(static_cast<T *>(nullptr), [&]() -> T * {
        try {
            return body();
        } catch (const std::bad_alloc &) {
            errno = ENOMEM;
            return nullptr;
        }
    });
}

} // namespace

StoreFile *openStore(const char *path) {
    return opened<StoreFile>([&] { return openFrom(ByteSource::open(path)); });
}

StoreFile *openStoreBytes(const void *bytes, size_t size) {
    return opened<StoreFile>([&] {
        const Bytes memory(static_cast<const unsigned char *>(bytes), size);
        return openFrom(std::make_unique<ByteSource>(memory));
    });
}

void closeStore(StoreFile *file) {
    const std::unique_ptr<StoreFile> owned(file);
}

int nextStoreBlock(StoreFile *file, int64_t offset, StoreBlock *block, StoreDamage *damage) {
    return guarded(-1, [&] {
        if (offset == file->file.length) return 0;
        const auto header = strictBlockAt(file->file, offset);
        if (const auto *found = std::get_if<Damage>(&header)) {
            *damage = told(*found);
            return -1;
        }
        const auto &sound = *std::get_if<FileBlock>(&header);
        *block = {offset, sound.data, sound.end(), sound.status == blockInUse ? 1 : 0};
        return 1;
    });
}

int readStoreRecord(StoreFile *file, const StoreBlock *block, StoredRecord *record,
                    StoreDamage *damage) {
    return guardedReading(file, block, record, damage, Depth::all);
}

int readStoreHead(StoreFile *file, const StoreBlock *block, StoredRecord *record,
                  StoreDamage *damage) {
    return guardedReading(file, block, record, damage, Depth::head);
}

void freeStoredRecord(StoredRecord *record) {
    if (!record) return;
    std::free(record->name);
    std::free(record->code);
    freeMol(record->molecule);
    *record = {};
}

int surveyStore(StoreFile *file, StoreSurvey *survey) {
    return guarded(0, [&] {
        const Survey found = surveyed(file->file);
        OwnedBlock<StoreSpan> records(allocateArray<StoreSpan>(found.records.size()));
        if (!records) return 0;
        std::ranges::transform(found.records, records.get(), [](const RecordSpan &span) {
            return StoreSpan{span.offset, span.length};
        });
        *survey = {records.release(),
                   static_cast<int64_t>(found.records.size()),
                   found.freeBlocks,
                   found.freeBytes,
                   found.slackBytes,
                   found.passedOver,
                   found.damage ? 1 : 0,
                   found.damagedRecord ? static_cast<int64_t>(*found.damagedRecord) : -1,
                   found.damage ? told(*found.damage) : StoreDamage{}};
        return 1;
    });
}

void freeStoreSurvey(StoreSurvey *survey) {
    if (survey) releaseBlock(survey->records);
}

uint32_t packRecord(const char *name, const int32_t *codes, const Molecule *molecule,
                    unsigned char **bytes) {
    if (!name || !codes || !molecule || !bytes) return 0;
    return guarded(uint32_t{0}, [&] {
        const auto record = packedRecord(name, codes, *molecule);
        if (!record.empty()) *bytes = copied<unsigned char>(record).release();
        return static_cast<uint32_t>(record.size());
    });
}

void packBlockHeader(uint32_t size, unsigned char *header) {
    writeHeader(size, blockInUse, header);
}

StoreWriter *openStoreWriter(const char *path) {
    return opened<StoreWriter>([&]() -> StoreWriter * {
        auto file = ManyRecords::open(path);
        if (!file) return nullptr;
        auto writer = std::make_unique<StoreWriter>();
        writer->file = std::move(file);
        return writer.release();
    });
}

int64_t insertPacked(StoreWriter *writer, const void *record, uint32_t length) {
    return guarded(int64_t{0}, [&] {
        return writer->file->insert({static_cast<const unsigned char *>(record), length});
    });
}

int removeStored(StoreWriter *writer, const StoreBlock *block) {
    return writer->file->remove(block->offset) ? 1 : 0;
}

int closeStoreWriter(StoreWriter *writer) {
    const std::unique_ptr<StoreWriter> owned(writer);
    return !writer || writer->file->close() ? 1 : 0;
}
