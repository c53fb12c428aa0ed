/**
 * @file
 * Upkeep of database files: blocks and records with what is wrong in them, surveys, new records by
 * the thousand.
 *
 * The functions of database.h make the best of whatever a file holds. These are strict: they say
 * where a file departs from its format (laid out in database.h), by the byte that shows it. Files
 * are read in pieces, as far as a question needs them. Nothing here prints, and nothing locks.
 *
 * To see whether a file holds any record, or to read the one at a position, walk from block to
 * block and stop there:
 *
 *     StoreFile *file = openStore("reactions.db");
 *     StoreBlock block;
 *     StoreDamage damage;
 *     int64_t at = 0;
 *     while (nextStoreBlock(file, at, &block, &damage) == 1 && !block.inUse)
 *         at = block.end;
 */
#ifndef SADDLEFIT_STORE_H
#define SADDLEFIT_STORE_H

#include "saddlefit/export.h"
#include "saddlefit/molecule.h"

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Bytes of a block's header. */
enum { STORE_HEADER_SIZE = 5 };

/** What is wrong, and where. */
typedef struct StoreDamage {
    int64_t offset; /**< in the file, of the bytes that show it */
    char
        what[128]; /**< a phrase in English, NUL-terminated, such as "a coordinate is not finite" */
} StoreDamage;

/** A block of a file, from its header. */
typedef struct StoreBlock {
    int64_t offset; /**< of the header */
    int64_t data;   /**< offset of the data area, 5 bytes further */
    int64_t end;    /**< offset behind the data area, where the next block begins */
    int inUse;      /**< 1 with a record in it, 0 free */
} StoreBlock;

/** A record. The blocks it points to are released with freeStoredRecord(). */
typedef struct StoredRecord {
    char *name;          /**< NUL-terminated */
    int32_t *code;       /**< transition code with its closing 0 */
    int codeCount;       /**< values of the code, the 0 included */
    int atomCount;       /**< as stored */
    int bondCount;       /**< as stored */
    int transitionCount; /**< as stored */
    int64_t length;      /**< bytes of the record; the rest of its block means nothing */
    Molecule *molecule;  /**< atoms, bonds and transitions, without a name; NULL in a head */
} StoredRecord;

/* ---- reading -------------------------------------------------------------------------------- */

/** A file or bytes, open for reading. One thread at a time may use one. */
typedef struct StoreFile StoreFile;

/**
 * Open a database file.
 *
 * @param path  File; only regular ones have a size to hold blocks against.
 * @return      The file, to be released with closeStore(); NULL if it cannot be opened or there is
 *              no memory, with errno set.
 */
SADDLEFIT_API StoreFile *openStore(const char *path);

/**
 * Take bytes as a database file.
 *
 * @param bytes  Bytes, which must stand as long as the result is used; NULL only if size is 0.
 * @param size   Number of bytes.
 * @return       As openStore().
 */
SADDLEFIT_API StoreFile *openStoreBytes(const void *bytes, size_t size);

/** Release what openStore() gave; NULL does nothing. */
SADDLEFIT_API void closeStore(StoreFile *file);

/**
 * Read a block's header.
 *
 * Damage is a header that is cut off, a status other than 0 and 1, a block that reaches beyond the
 * end of the file, and one that ends beyond the signed 32-bit offsets that searches reach.
 *
 * @param file    Open file.
 * @param offset  Where a block begins: 0, or the end of another.
 * @param block   Receives the block; untouched unless the result is 1.
 * @param damage  Receives what is wrong if the result is -1.
 * @return        1 if there is a sound header, 0 at the end of the file, -1 if there is damage.
 */
SADDLEFIT_API int nextStoreBlock(StoreFile *file, int64_t offset, StoreBlock *block,
                                 StoreDamage *damage);

/**
 * Read the record of a block.
 *
 * A record is sound if its counts fit the block, its name and its code end where their lengths say,
 * the code has an odd number of values, its bonds and transitions name atoms that it has,
 * coordinates are finite, and the code is that of its transitions (getTransitionCode()).
 *
 * @param file    Open file.
 * @param block   A block in use, as nextStoreBlock() gave it.
 * @param record  Receives the record; untouched unless the result is 1.
 * @param damage  Receives what is wrong if the result is 0.
 * @return        1 if the record is sound, 0 if it is damaged, -1 if there is no memory.
 */
SADDLEFIT_API int readStoreRecord(StoreFile *file, const StoreBlock *block, StoredRecord *record,
                                  StoreDamage *damage);

/**
 * Read name, code and counts of a record, and nothing behind them.
 *
 * @return  As for readStoreRecord(); sound is what has been read.
 */
SADDLEFIT_API int readStoreHead(StoreFile *file, const StoreBlock *block, StoredRecord *record,
                                StoreDamage *damage);

/** Release what a record points to, and forget it. */
SADDLEFIT_API void freeStoredRecord(StoredRecord *record);

/* ---- surveys -------------------------------------------------------------------------------- */

/** Where a record stands, without its block's header and slack. */
typedef struct StoreSpan {
    int64_t offset;
    int64_t length;
} StoreSpan;

/** What a file is made of. */
typedef struct StoreSurvey {
    StoreSpan *records;    /**< sound ones, in file order */
    int64_t recordCount;   /**< entries of records */
    int64_t freeBlocks;    /**< sound free blocks */
    int64_t freeBytes;     /**< capacity of those */
    int64_t slackBytes;    /**< bytes that records leave unused in their blocks */
    int64_t passedOver;    /**< bytes in which nothing could be read */
    int isDamaged;         /**< 1 if there is damage */
    int64_t damagedRecord; /**< position of the record that the first damage is in; -1 if in none */
    StoreDamage damage;    /**< the first */
} StoreSurvey;

/**
 * Read every block and record.
 *
 * Behind damage the survey goes on at the next offset where a block in use with a sound record
 * begins. A record whose block has a damaged header counts as sound if it is whole and, where the
 * size is wrong, its transition code vouches for its counts. A block that takes in another one with
 * a sound record is damage, too.
 *
 * @param file    Open file.
 * @param survey  Receives the survey, to be released with freeStoreSurvey(); untouched on failure.
 * @return        1; 0 if there is no memory.
 */
SADDLEFIT_API int surveyStore(StoreFile *file, StoreSurvey *survey);

/** Release a survey's list. */
SADDLEFIT_API void freeStoreSurvey(StoreSurvey *survey);

/* ---- packing and storing -------------------------------------------------------------------- */

/**
 * Make the bytes of a record, as writeDB() stores them.
 *
 * @param name      NUL-terminated.
 * @param codes     0-terminated.
 * @param molecule  Not changed.
 * @param bytes     Receives a new block, to be released with free(); untouched on failure.
 * @return          Length of the record; 0 if it is beyond what its fields hold (see writeDB()), if
 *                  an argument is NULL, or if there is no memory.
 */
SADDLEFIT_API uint32_t packRecord(const char *name, const int32_t *codes, const Molecule *molecule,
                                  unsigned char **bytes);

/**
 * Make the header of a block in use.
 *
 * @param size    Capacity of the block.
 * @param header  Receives STORE_HEADER_SIZE bytes.
 */
SADDLEFIT_API void packBlockHeader(uint32_t size, unsigned char *header);

/** A database file, open for new records. */
typedef struct StoreWriter StoreWriter;

/**
 * Open a file for many new records.
 *
 * The file is walked once. Nobody else may write to it meanwhile.
 *
 * @param path  File, which must exist; it may be empty.
 * @return      To be released with closeStoreWriter(); NULL if the file cannot be opened for
 *              reading and writing, if it ends before the status of its last block (EINVAL), or if
 *              there is no memory, with errno set.
 */
SADDLEFIT_API StoreWriter *openStoreWriter(const char *path);

/**
 * Store a record where writeDB() would: in the first free block that is large enough, else behind
 * the last block. As there, the block stays free until a single byte, written last, makes a record
 * of what is in it. Takes time by the logarithm of the number of free blocks.
 *
 * @param writer  Open file.
 * @param record  Bytes, as packRecord() makes them.
 * @param length  Number of bytes.
 * @return        Offset of the record. 0 if it would end beyond the signed 32-bit offsets that
 *                searches reach, with errno EOVERFLOW, or if the file cannot be written, with errno
 *                set; a writer that failed so takes no more.
 */
SADDLEFIT_API int64_t insertPacked(StoreWriter *writer, const void *record, uint32_t length);

/**
 * Remove a record as removeDB() does: its block is free from then on, and the positions of those
 * behind it go down by one. insertPacked() fills it once the file is opened anew.
 *
 * @param writer  Open file.
 * @param block   A block of that file, in use, as nextStoreBlock() gave it.
 * @return        1; 0 with errno set if the block is not in use any more (EINVAL) or the file
 *                cannot be written; a writer that could not write takes no more.
 */
SADDLEFIT_API int removeStored(StoreWriter *writer, const StoreBlock *block);

/** Close the file; NULL does nothing. @return 1; 0 if closing fails, with errno set. */
SADDLEFIT_API int closeStoreWriter(StoreWriter *writer);

#ifdef __cplusplus
}
#endif

#endif
