/**
 * @file
 * The reaction database: stored structures with their names and transition codes in one file, the
 * heap of blocks which that file is, and the fields that both are made of.
 *
 * A database file has no header and no index. It is a sequence of blocks from offset 0 to its end,
 * found only by walking from one to the next. A block in use holds one record. All integers are
 * unsigned and all numbers are stored with their least significant byte first, whatever the
 * machine; floats are IEEE 754 single precision. Files live long: none of these numbers may ever
 * change.
 *
 *     block   offset  bytes  field
 *             0       4      size, the capacity of the data area
 *             4       1      status: 1 in use, 0 free
 *             5       size   data; the next block follows it
 *
 *     record  offset               bytes  field
 *             0                    2      L, the length of the name with its NUL
 *             2                    L      name and NUL
 *             2 + L                2      C, the number of codes with their 0
 *             4 + L                2 C    codes; the last is 0; 0xFFFF stands for -1
 *             4 + L + 2C           2      A, the number of atoms
 *             6 + L + 2C           2      B, the number of bonds
 *             8 + L + 2C           2      T, the number of transitions
 *             10 + L + 2C          14 A   per atom x, y, z (4 each, angstrom) and element (2)
 *             10 + L + 2C + 14A    6 B    per bond atom1, atom2, type (2 each)
 *             ... + 6B             8 T    per transition breakA, breakB, formA, formB (2 each),
 *                                         positions of atoms; 0xFFFF means none
 *
 * A block is named by its handle, the offset of its data area: 5 or more, and 0 for no block. It
 * keeps its size for good, so a record may be shorter than its block; what follows the record there
 * means nothing. Blocks are never merged and a file never shrinks. Offsets are signed 32-bit: a
 * block size that leads beyond them ends a walk as the end of the file does. A walk takes time by
 * the block: 2 GiB of empty ones, or a device without an end, are 400 million, and take seconds.
 *
 * A record's position is its ordinal among the blocks in use, from 0. A record stored in the place
 * of a removed one takes that place in the order.
 *
 * Files are not locked: let one writer at a time have one open. Streams must be seekable and opened
 * in binary mode; none may be NULL. The block heap reports each failure with one line on standard
 * output, "Error: (database/fmem,LINE) MESSAGE", whose number names the step that failed. Nothing
 * else here prints.
 */
#ifndef SADDLEFIT_DATABASE_H
#define SADDLEFIT_DATABASE_H

#include "saddlefit/export.h"
#include "saddlefit/molecule.h"

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- records of the database ---------------------------------------------------------------- */

/* The terms of a record's length, in bytes: num_size + name_size * L + code_size * C +
   atom_size * A + bond_size * B + transition_size * T. Stored in every file: never to change. */

SADDLEFIT_API extern const int32_t num_size;        /**< 10: the five counts L, C, A, B, T */
SADDLEFIT_API extern const int32_t name_size;       /**< 1, per byte of the name */
SADDLEFIT_API extern const int32_t code_size;       /**< 2, per code */
SADDLEFIT_API extern const int32_t atom_size;       /**< 14, per atom */
SADDLEFIT_API extern const int32_t bond_size;       /**< 6, per bond */
SADDLEFIT_API extern const int32_t transition_size; /**< 8, per transition */

/**
 * Read the next record that passes the filters.
 *
 * Coordinates come back as single precision left them, and as the file has them: a hostile one may
 * hold infinities and numbers that are none. A transition that names an atom which the
 * molecule has not names none (-1); bonds are handed on as stored. Lists end at their stored count.
 * A file cut off in a record, or counts beyond it, give no failure: missing integers read as 65535,
 * missing coordinates as NaN, missing characters of the name as NUL. Blocks of any status but 0
 * count as records.
 *
 * @param stream      Stands at a block's header: offset 0, or where the previous call left it.
 *                    Left at the next header, or at the end of the file, on every return.
 * @param nameFilter  The whole name, NUL-terminated; NULL passes all.
 * @param codeFilter  The whole code list up to its 0, which {0} is for records without codes; NULL
 *                    passes all.
 * @param molecule    Where to store a new molecule, to be released with freeMol(); it has atoms,
 *                    bonds and transitions, and no name. NULL asks for none. Untouched if the
 *                    result is NULL.
 * @return            The record's name, a new block to be released with free(). NULL if no further
 *                    record passes, and again when asked again; NULL also if there is no memory
 *                    for the record.
 */
SADDLEFIT_API char *readDB(FILE *stream, const char *nameFilter, const int32_t *codeFilter,
                           Molecule **molecule);

/**
 * List the names of all records, in the order of their positions.
 *
 * @param path   Database file.
 * @param names  NULL or a block of the C heap on entry; it is resized, 100 entries at a time, to
 *               hold one new name per record. Array and names are the caller's to free(). Untouched
 *               if the result is 0.
 * @return       Number of names, the only mark of the array's end. 0 if there are none or the file
 *               cannot be opened; fewer than there are if memory ends.
 */
SADDLEFIT_API int listDB(const char *path, char ***names);

/**
 * Store a record in a database file, which must exist; it may be empty.
 *
 * @param path      Database file.
 * @param name      Taken over and released, as by writeDB(), in every case.
 * @param codes     See writeDB().
 * @param molecule  See writeDB().
 * @return          1 if the record was stored and the file closed without error. 0 as for
 *                  writeDB(), if the file cannot be opened, or if closing it fails.
 */
SADDLEFIT_API int insertDB(const char *path, char *name, const int32_t *codes, Molecule *molecule);

/**
 * Store a record in the first free block that is large enough, else behind the last block.
 *
 * Stored are the atoms' element and coordinates (rounded to single precision), the bonds' atoms and
 * type, and the transitions; of a transition, any atom below 0 is stored as none. A bond may name
 * an atom that the molecule has not. Far from the origin rounding is coarse, 0.06 angstrom at 1e6:
 * store structures near it. Refused with 0, before the file is touched, is what the fields cannot
 * hold:
 *
 *     name                  more than 65535 bytes with its NUL
 *     codes                 not -1 or 1 to 65534; more than 65535 with the 0
 *     counts                below 0 or above 65535, or a NULL where the count is not 0
 *     elements, bond types  below 0 or above 65535
 *     atoms of bonds        below 0 or above 65534
 *     atoms of transitions  above 65534
 *     coordinates           not finite, or not finite in single precision
 *
 * The bytes go into a block that is still marked free; once they have met the file, one byte marks
 * it as in use. So a process that is killed meanwhile, or another that reads, never leaves or sees
 * half a record. A crash of the machine is another matter: nothing is told to the disk itself.
 *
 * @param stream    Open for reading and writing; at the end of the record after success, at no
 *                  defined place after failure. Flushed, so that a full disk is noticed.
 * @param name      A block of the C heap, taken over and released in every case; NULL gives 0.
 * @param codes     0-terminated; searches find the record by its molecule's transition code. NULL
 *                  gives 0.
 * @param molecule  Not changed; NULL gives 0.
 * @return          1 if the record was written. 0 if it was refused, if no block could be had, or
 *                  if the stream failed; then the block, if it was there already, is still free.
 */
SADDLEFIT_API int writeDB(FILE *stream, char *name, const int32_t *codes, Molecule *molecule);

/**
 * Remove the record at a position; those behind it move down by one.
 *
 * Only blocks of status 1 are counted. The record's bytes stay until a later record takes the
 * block.
 *
 * @param path      Database file.
 * @param position  Ordinal of the record, from 0.
 * @return          1 if there is such a record, even if its block could then not be released (a
 *                  line on standard output says so). 0 if there is none or the file cannot be
 *                  opened; nothing is changed.
 */
SADDLEFIT_API int removeDB(const char *path, int position);

/* ---- block heap ------------------------------------------------------------------------------ */

/** A block's header in memory; in the file it is 5 bytes. The order of its fields is fixed. */
typedef struct BlockHeader {
    uint32_t size;  /**< capacity of the data area in bytes */
    uint8_t status; /**< 1 in use, 0 free; other values are read and never written */
} BlockHeader;

/**
 * Get a block: the first free one from offset 0 that is large enough, whole, or else a new one at
 * the end of the file.
 *
 * A block that is reused keeps its size and the old contents; of a new one the header alone is
 * written. The stream is left at the first data byte, ready for writing.
 *
 * @param size    Bytes needed; 0 takes any free block.
 * @param stream  Open for reading and writing.
 * @return        Handle of a block of at least `size` bytes; 0 on failure, with one line:
 *                79, 80 seeking to or writing the header of a free block; 84 seeking to the next
 *                header, also when that is beyond a signed 32-bit offset; 91, 92 seeking to or
 *                writing the header of a new block.
 */
SADDLEFIT_API uint32_t Fmalloc(uint32_t size, FILE *stream);

/**
 * Release a block. Its contents stay.
 *
 * @param handle  The block; 0 does nothing and succeeds.
 * @param stream  Open for reading and writing.
 * @return        1; 0 on failure, with one line: 56, 57 seeking to or reading the header; 58 its
 *                status is not 1; 60, 61 seeking back to or writing the header.
 */
SADDLEFIT_API int Ffree(uint32_t handle, FILE *stream);

/**
 * Make room in a block, moving it if it is too small.
 *
 * A block that is large enough stays as it is, whatever its status. Otherwise the whole old
 * capacity is copied to a new block and the old one released; the stream is then at no defined
 * place.
 *
 * @param handle  The block; 0 is the same as Fmalloc().
 * @param size    Bytes needed.
 * @param stream  Open for reading and writing.
 * @return        Handle of the block. 0 on failure: the old block is as it was and a new one is
 *                released again. The line is that of Fmalloc(), or 107, 108 seeking to or reading
 *                the old header; 116 seeking to the old data; 119 no memory; 124 reading the old
 *                data; 128, 132 seeking to or writing the new data; 137, behind the line of
 *                Ffree(), releasing the old block.
 */
SADDLEFIT_API uint32_t Frealloc(uint32_t handle, uint32_t size, FILE *stream);

/**
 * Read items at an offset, whatever blocks they are in.
 *
 * @param buffer          Receives itemSize * count bytes.
 * @param itemSize,count  Bytes per item, and number of items.
 * @param offset          Offset in the file.
 * @param stream          Open for reading.
 * @return                1 if exactly `count` items arrived; else 0, with one line: 14 seeking,
 *                        15 reading.
 */
SADDLEFIT_API int Fread(void *buffer, uint32_t itemSize, uint32_t count, int32_t offset,
                        FILE *stream);

/**
 * Write items at an offset, whatever blocks they are in.
 *
 * @param buffer          Holds itemSize * count bytes.
 * @param itemSize,count  Bytes per item, and number of items.
 * @param offset          Offset in the file.
 * @param stream          Open for writing.
 * @return                1 if exactly `count` items were taken; else 0, with one line: 25 seeking,
 *                        26 writing.
 */
SADDLEFIT_API int Fwrite(const void *buffer, uint32_t itemSize, uint32_t count, int32_t offset,
                         FILE *stream);

/**
 * Read the header at the stream's position, leaving the stream at the block's data.
 *
 * The stream's error and end-of-file marks are cleared first. A header whose status byte is cut off
 * by the end of the file reads as status 255.
 *
 * @param header  Receives the fields.
 * @param stream  At a header.
 * @return        Nonzero if there was a header; 0 at the end of the file or if the stream failed.
 */
SADDLEFIT_API uint8_t ReadHeader(BlockHeader *header, FILE *stream);

/**
 * Write a header at the stream's position, leaving the stream at the block's data.
 *
 * The stream's error and end-of-file marks are cleared first. Between reading a stream and writing
 * to it, seek.
 *
 * @param header  Fields to write; not changed.
 * @param stream  Where the header belongs.
 * @return        Nonzero if the stream took it, else 0.
 */
SADDLEFIT_API uint8_t WriteHeader(BlockHeader *header, FILE *stream);

/* ---- fields, at the stream's position -------------------------------------------------------- */

/* A byte that cannot be written or read shows in the stream's error and end-of-file marks. A byte
   behind the end of the file sets all bits from its place upwards. */

/** Write 16 bits. @return The second byte, or EOF. */
SADDLEFIT_API int Fwrite2cF(uint16_t value, FILE *stream);

/** Read 16 bits. @return The value; 0xFFFF at the end of the file, 0xFF00 + b after one byte b. */
SADDLEFIT_API uint16_t Fread2cF(FILE *stream);

/** Write 32 bits. @return The last byte, or EOF. */
SADDLEFIT_API int Fwrite4cF(uint32_t value, FILE *stream);

/** Read 32 bits. @return The value; 0xFFFFFFFF at the end of the file. */
SADDLEFIT_API uint32_t Fread4cF(FILE *stream);

/** Write a float's 32 bits. @return The last byte, or EOF. */
SADDLEFIT_API int Fwrite4fF(float value, FILE *stream);

/** Read a float's 32 bits. @return The value; NaN at the end of the file. */
SADDLEFIT_API float Fread4fF(FILE *stream);

/** Write bytes as they are. @return How many were taken. */
SADDLEFIT_API uint32_t Fwrite1cBuf(const void *buffer, uint32_t count, FILE *stream);

/** Read bytes as they are. @return How many arrived; the rest of the buffer stays as it was. */
SADDLEFIT_API uint32_t Fread1cBuf(void *buffer, uint32_t count, FILE *stream);

/* ---- byte order in memory -------------------------------------------------------------------- */

/* Each reverses the bytes of one value. They serve hosts that exchange data with other machines;
   the database, whose order is fixed, does without them. */

/** Reverse the 2 bytes of a value in place. */
SADDLEFIT_API void swapShort(int16_t *value);
/** Reverse the 2 bytes of a value in place. */
SADDLEFIT_API void swapUShort(uint16_t *value);
/** Reverse the 4 bytes of a value in place. */
SADDLEFIT_API void swapInt(int32_t *value);
/** Reverse the 4 bytes of a value in place. */
SADDLEFIT_API void swapUInt(uint32_t *value);
/** Reverse the 4 bytes of a value in place. */
SADDLEFIT_API void swapFloat(float *value);
/** Reverse the 8 bytes of a value in place. */
SADDLEFIT_API void swapDouble(double *value);

/** Copy 4 bytes in reverse order; the buffers do not overlap. */
SADDLEFIT_API void swapCharToInt(const unsigned char *source, unsigned char *destination);
/** Copy 4 bytes in reverse order; the buffers do not overlap. */
SADDLEFIT_API void swapCharToFloat(const unsigned char *source, unsigned char *destination);
/** Copy 8 bytes in reverse order; the buffers do not overlap. */
SADDLEFIT_API void swapCharToDouble(const unsigned char *source, unsigned char *destination);

/** Store the 4 bytes of a value in the reverse of their order in memory. */
SADDLEFIT_API void swapIntToChar(int32_t value, unsigned char *destination);
/** Store the 4 bytes of a value in the reverse of their order in memory. */
SADDLEFIT_API void swapFloatToChar(float value, unsigned char *destination);
/** Store the 8 bytes of a value in the reverse of their order in memory. */
SADDLEFIT_API void swapDoubleToChar(double value, unsigned char *destination);

/* ---- files, by path -------------------------------------------------------------------------- */

/* A NULL path is answered like that of a file which cannot be opened. */

/**
 * Measure a file.
 *
 * @param path  File. A directory opens on some systems, and is then as long as its end is said to
 *              be, often 2147483647.
 * @return      Length in bytes, 2147483647 for any longer one; 0 if it cannot be opened.
 */
SADDLEFIT_API int32_t fileSize(const char *path);

/**
 * Tell whether a path names anything, following symbolic links.
 *
 * @param path  Path to look up.
 * @return      1 if its status can be read, else 0.
 */
SADDLEFIT_API int32_t fileExists(const char *path);

/**
 * Remove a directory entry.
 *
 * @param path  File; directories are not removed.
 * @return      0; -1 on failure.
 */
SADDLEFIT_API int32_t removeFile(const char *path);

/**
 * Copy a file's bytes over another file, or to a new one.
 *
 * @param source       File to read.
 * @param destination  File to write, emptied first. If it is the source itself, under any name,
 *                     nothing is done.
 * @return             0, also if either file cannot be opened, or if the source cannot be read to
 *                     its end (a directory, a failing disk), which leaves a short or empty copy:
 *                     look at the destination to tell. -1 if writing or closing the destination
 *                     fails; it then holds what fitted.
 */
SADDLEFIT_API int32_t copyFile(const char *source, const char *destination);

/**
 * Rename a file; a file of the new name is removed first.
 *
 * @param oldPath  File; if there is none, nothing is done.
 * @param newPath  New name. If it is the old one, or another spelling of it, nothing is done.
 * @return         0 if nothing had to be done or the file was renamed; -1 if renaming failed. A
 *                 file of the new name is then gone (unless it could not be removed either), as
 *                 when both names are on different file systems.
 */
SADDLEFIT_API int32_t renameFile(const char *oldPath, const char *newPath);

#ifdef __cplusplus
}
#endif

#endif
