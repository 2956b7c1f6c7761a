/*
 * libvorn: persistent, encrypted data spaces.
 *
 * A data space is an array of bytes under a short label, cut into blocks of
 * one size. Its header and each of its blocks are one encrypted file in the
 * application's private data directory; a file that was damaged, or changed
 * without the key, is refused when it is read back.
 *
 * Labels. A label is a NUL-terminated string of at most 32 bytes before the
 * NUL; the empty string is a label too. It becomes part of file names as it
 * is. The library does not look at its characters: whoever takes labels from
 * an untrusted source must refuse '/' (and with it "..") beforehand.
 *
 * Threads. The library keeps nothing between calls, starts no threads and
 * takes no locks. Calls on different labels may run at the same time. Calls on
 * one label must not overlap, in one process or in several.
 *
 * Ownership. Labels and buffers are borrowed for the length of the call.
 * Every call frees all that it allocated before it returns.
 *
 * Durability. The bytes of a stored file have reached storage when the call
 * that stored it returns. On a file system that keeps its directory operations
 * in order, a file that is being replaced keeps its old content until its new
 * content is complete, also when the process is killed or the power goes in
 * between. Not so where its path leaves no room, in 255 characters, for nine
 * more, or where the file system lets nothing be linked or renamed.
 *
 * Faults are told in the platform's log under the tag "VORN", where they
 * happen. The results below are negative errno values, or -1.
 */
#ifndef VORN_H
#define VORN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define VORN_API __attribute__((visibility("default")))
#else
#define VORN_API
#endif

/* The version of this header. The library of a later 1.x does all that it says. */
#define VORN_VERSION_MAJOR 1
#define VORN_VERSION_MINOR 0
#define VORN_VERSION_PATCH 0
#define VORN_VERSION "1.0.0"

/* Flag of vorn_create: an existing data space with the same label is removed
 * first. */
#define VORN_CREATE_REPLACE 1u

/*
 * Creates an empty data space.
 *
 * label       its label, at most 32 bytes.
 * block_size  bytes per block, a multiple of 512 and not 0. A block is held in
 *             memory whole, up to three times at once; one that does not fit,
 *             or comes near 2 GiB, cannot be written later.
 * flags       VORN_CREATE_REPLACE or 0. Other bits are stored and have no
 *             effect.
 *
 * Returns
 *    0   The data space exists, is empty and is on storage.
 *  -22   (-EINVAL) The label is NULL or too long, or the block size is wrong.
 *  -17   (-EEXIST) The data space exists and replacing was not asked for. It
 *        is unchanged.
 *  -12   (-ENOMEM) Out of memory.
 *   -1   The header could not be stored; also when a header that cannot be
 *        read stands in the way: vorn_remove clears it.
 * With VORN_CREATE_REPLACE the blocks of the old data space, and mostly its
 * header, are gone when -12 or -1 is returned after its removal.
 */
VORN_API int32_t vorn_create(const char *label, uint32_t block_size, uint32_t flags);

/*
 * Removes a data space with all its blocks. A data space whose header is
 * damaged is removed as far as its blocks can be found.
 *
 * Returns
 *    0   The data space is gone. The file system may need until its next
 *        commit to make that final: the library does not force one. A block
 *        that could not be deleted stays, and only the log tells: it will
 *        stand in the way of a later data space of that label if it is
 *        damaged. So do, when the header was damaged, the blocks behind one
 *        that is missing or could not be deleted.
 *  -22   (-EINVAL) The label is NULL or too long.
 *  -61   (-ENODATA) There is no such data space, or its header cannot be opened.
 *   -1   The header could not be deleted. Its blocks mostly are.
 */
VORN_API int32_t vorn_remove(const char *label);

/*
 * Writes bytes into a data space, which grows when they go beyond its end.
 *
 * offset  position of the first byte, 0 to the number of bytes in the data
 *         space: at that number the write appends.
 * length  number of bytes, at least 1. One call moves at most 2,147,483,647
 *         bytes and lets the data space grow to at most 4,294,967,295; what
 *         does not fit is cut off.
 * buffer  the bytes.
 *
 * Returns the number of bytes written: a count less than length means that a
 * block could not be stored, or that length was cut. A block that cannot be
 * read cannot be written either, not even whole. The bytes that the count covers
 * are on storage when the call returns. Where the write should have made the
 * data space longer but the header could not be replaced, which only the log
 * tells, the blocks are stored and the length stays as it was. Several blocks
 * are not one transaction: after a fault some may hold the new bytes and the
 * later ones the old.
 * Or returns
 *  -22   (-EINVAL) The label is NULL or too long, length is 0, or buffer is
 *        NULL.
 *  -61   (-ENODATA) There is no such data space, or its header cannot be opened.
 *   -5   (-EIO) The header is not a header.
 *   -1   The header could not be read; also for want of memory.
 *  -34   (-ERANGE) offset lies beyond the end of the data, or the data space
 *        cannot grow any more.
 *  -12   (-ENOMEM) Out of memory. Blocks may have been stored, but the data
 *        space has not grown.
 */
VORN_API int32_t vorn_write(const char *label, uint32_t offset, uint32_t length, const void *buffer);

/*
 * Reads bytes of a data space.
 *
 * offset  position of the first byte, less than the number of bytes in the
 *         data space.
 * length  the most bytes wanted, at least 1; one call moves at most
 *         2,147,483,647.
 * buffer  room for length bytes. Nothing is written past the returned count.
 *
 * Returns the number of bytes delivered. A count less than length means that
 * the data space ends there, or that the block at that place is missing,
 * damaged or could not be read.
 * Or returns
 *  -22   (-EINVAL) The label is NULL or too long, length is 0, or buffer is
 *        NULL.
 *  -61   (-ENODATA) There is no such data space, or its header cannot be opened.
 *   -5   (-EIO) The header is not a header.
 *   -1   The header could not be read; also for want of memory.
 *  -34   (-ERANGE) offset lies at or beyond the end of the data.
 */
VORN_API int32_t vorn_read(const char *label, uint32_t offset, uint32_t length, void *buffer);

#ifdef __cplusplus
}
#endif

#endif
