/*
 * libvorn: persistent, encrypted data spaces.
 *
 * A data space is an array of bytes under a short label, cut into blocks of
 * one size. Its header and each of its blocks are one encrypted file in the
 * application's private data directory. A file that was damaged, or edited
 * blindly, is refused when it is read back.
 *
 * Labels. A label is a NUL-terminated string of at most 32 bytes before the
 * NUL. The empty string is a label too. A label becomes part of file names as
 * it is, and the library does not look at its characters. A program that takes
 * labels from an untrusted source must refuse '/' in them. Labels that differ
 * only in case need a file system that distinguishes them.
 *
 * Threads. The library keeps nothing between calls, starts no threads and
 * takes no locks. Calls on different labels may run at the same time. Calls on
 * one label must not overlap, in one process or in several. Two reads count as
 * overlapping when the last change of that label was interrupted, because a
 * read settles it. A thread that is cancelled inside a call leaks what the call
 * has allocated and opened.
 *
 * Ownership. Labels and buffers are borrowed for the length of the call.
 * Every call frees all that it allocated before it returns.
 *
 * Interruption. After a kill or a power cut a data space reads as before the
 * call that was under way or as after it, whole. With VORN_CREATE_REPLACE it may
 * also be absent. The next call on the label settles what was interrupted.
 *   This needs ext4 with its journal and without fast commits, xfs, tmpfs
 * (kills only), btrfs, f2fs or ubifs. On the last two it has not been tried.
 *   Each block is old or new, but not the whole call, on another file system,
 * where hard links are refused, and where there is no room for the old blocks
 * beside the new ones.
 *   A kill can lose a block or a header where nothing can be made beside the
 * files, as in a sandbox that forbids it, and where the path of the directory
 * and the label together have more than 226 bytes.
 *   Several calls are not one change. After a fault and then a kill in the same
 * call, any number of its first blocks may be new.
 *
 * Room. vorn_write keeps the old blocks until its end, so it needs room for
 * them beside the new ones.
 *
 * Reasons. A call that did not do all leaves the reason in errno: after a
 * negative result, and after a count below length, 0 included. It is the reason
 * of the first thing that kept the call from doing all:
 *   EBADMSG   a file is damaged
 *   ENOENT    a file is missing
 *   ENOTDIR   the platform has no data directory
 *   EINVAL, ERANGE, EEXIST, ENOMEM   as the result says
 *   EEXIST    after another result: an interrupted change cannot be settled, or a
 *             file of another origin has the name of a sign
 *   0         nothing failed: the data end there, or length was cut
 *   others    the system's own, such as ENOSPC, EIO, EMFILE, EACCES
 * After other successes errno means nothing, except where vorn_write says so.
 *
 * Messages go to the platform's log under the tag "VORN". The results below are
 * negative errno values, or -1.
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
 *             memory up to three times at once. One that does not fit, or comes
 *             near 2 GiB, cannot be written later.
 * flags       VORN_CREATE_REPLACE or 0. Other bits are stored and have no
 *             effect.
 *
 * Returns
 *    0   The data space exists, is empty and is on storage.
 *  -22   (-EINVAL) The label is NULL or too long, or the block size is wrong.
 *  -17   (-EEXIST) The data space exists and replacing was not asked for. It
 *        is unchanged.
 *  -12   (-ENOMEM) Out of memory.
 *   -1   The header could not be stored, or a header that cannot be read is in
 *        the way. vorn_remove clears the latter.
 * With VORN_CREATE_REPLACE the old data space may be gone after -12 or -1.
 */
VORN_API int32_t vorn_create(const char *label, uint32_t block_size, uint32_t flags);

/*
 * Removes a data space with all its blocks. Without a readable header its blocks
 * are found by their numbers, up to the first that is missing.
 *
 * Returns
 *    0   The data space is gone. The removal is not flushed: until the file
 *        system commits it, a power cut may bring the data space back, whole.
 *        A block that could not be deleted is in the log, and the next call on
 *        the label tries again.
 *  -22   (-EINVAL) The label is NULL or too long.
 *  -61   (-ENODATA) There is no such data space, and errno is ENOENT. With
 *        another errno its header cannot be opened, for want of descriptors say.
 *   -1   The header could not be deleted. Its blocks may be gone.
 */
VORN_API int32_t vorn_remove(const char *label);

/*
 * Writes bytes into a data space, which grows when they go beyond its end.
 *
 * offset  position of the first byte, 0 to the number of bytes in the data
 *         space. At that number the write appends.
 * length  number of bytes, at least 1. One call moves at most 2,147,483,647
 *         bytes and lets the data space grow to at most 4,294,967,295. What
 *         does not fit is cut off.
 * buffer  the bytes.
 *
 * Returns the number of bytes written. They are on storage, and a later cut does
 * not take them back.
 *   A count below length means that the call stopped at a block that could not
 * be loaded or stored, or that length was cut. That block holds what it held
 * before. A damaged block cannot be written, not even whole.
 *   A full count of a growing write also comes when the header could not be
 * replaced. The length is then as before. errno holds the reason, and 0
 * otherwise. Reading the last byte makes sure without errno.
 * Or returns
 *  -22   (-EINVAL) The label is NULL or too long, length is 0, or buffer is
 *        NULL.
 *  -61   (-ENODATA) There is no such data space, and errno is ENOENT. With
 *        another errno its header cannot be opened.
 *   -5   (-EIO) The header's file is good, but not a header.
 *   -1   The header could not be read, or an interrupted change could not be
 *        settled.
 *  -34   (-ERANGE) offset lies beyond the end of the data, or the data space
 *        cannot grow any more.
 *  -12   (-ENOMEM) Out of memory. Blocks within the old length may have been
 *        stored, but the data space has not grown.
 */
VORN_API int32_t vorn_write(const char *label, uint32_t offset, uint32_t length, const void *buffer);

/*
 * Reads bytes of a data space.
 *
 * offset  position of the first byte, less than the number of bytes in the
 *         data space.
 * length  the most bytes wanted, at least 1. One call moves at most
 *         2,147,483,647.
 * buffer  room for length bytes. Nothing is written past the returned count.
 *
 * Returns the number of bytes delivered. A count below length means that the data
 * end there, with errno 0, or that the block at that place is missing, damaged or
 * could not be read.
 * Or returns
 *  -22   (-EINVAL) The label is NULL or too long, length is 0, or buffer is
 *        NULL.
 *  -61   (-ENODATA) There is no such data space, and errno is ENOENT. With
 *        another errno its header cannot be opened.
 *   -5   (-EIO) The header's file is good, but not a header.
 *   -1   The header could not be read, or an interrupted change could not be
 *        settled.
 *  -34   (-ERANGE) offset lies at or beyond the end of the data.
 */
VORN_API int32_t vorn_read(const char *label, uint32_t offset, uint32_t length, void *buffer);

#ifdef __cplusplus
}
#endif

#endif
