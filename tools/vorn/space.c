#define _POSIX_C_SOURCE 200809L
#ifndef __LP64__
#define _FILE_OFFSET_BITS 64 /* block files beyond 2 GiB, inode numbers beyond 32 bits */
#define _TIME_BITS 64
#endif

#include "space.h"

#include "message.h"
#include "vorn.h"

#include "platform/app_common.h"

#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

enum { PATH_ROOM = 256, LEAST_PIECE = 4 << 20, MOST_BLOCKS = 1 << 24 };

static void begin_call(void)
{
    log_begin();
    errno = 0;
}

int32_t space_create(const char *label, uint32_t block_size)
{
    begin_call();
    return vorn_create(label, block_size, VORN_CREATE_REPLACE);
}

int32_t space_write(const char *label, uint32_t offset, uint32_t length, const void *bytes)
{
    begin_call();
    return vorn_write(label, offset, length, bytes);
}

int32_t space_read(const char *label, uint32_t offset, uint32_t length, void *bytes)
{
    begin_call();
    return vorn_read(label, offset, length, bytes);
}

int32_t space_remove(const char *label)
{
    begin_call();
    return vorn_remove(label);
}

/* The size of a block's file, or -1 where there is none. */
static int64_t block_file_size(const char *label, uint32_t index)
{
    char path[PATH_ROOM];
    struct stat status;
    char *directory = app_get_data_path();
    if (!directory) {
        return -1;
    }
    const int length = snprintf(path, sizeof path, "%s/VORN_DATA_%s_%u", directory, label, (unsigned)index);
    free(directory);
    if (length < 0 || length >= PATH_ROOM || stat(path, &status) != 0) {
        return -1;
    }
    return status.st_size;
}

/* An object's file holds its bytes, a digest of 32 bytes and a padding, which is
 * one of 16 bytes behind a block. */
static uint32_t block_size_from(int64_t file_size)
{
    const int64_t size = file_size - 48;
    return size > 0 && size <= UINT32_MAX && size % SMALLEST_BLOCK == 0 ? (uint32_t)size : 0;
}

/* The number of blocks whose files are there, where there is no gap. */
static uint32_t count_block_files(const char *label)
{
    uint32_t low = 0; /* low <= number <= high */
    uint32_t high = MOST_BLOCKS;
    uint32_t stride = 1;
    while (low < high) {
        const uint32_t at = low + (stride < high - low ? stride - 1 : (high - low) / 2);
        if (block_file_size(label, at) >= 0) {
            low = at + 1;
            stride *= 2;
        } else {
            high = at;
            stride = MOST_BLOCKS;
        }
    }
    return low;
}

/* Block 0 tells it, unless its file is missing or cut: then one of the next. */
uint32_t space_block_size(const char *label)
{
    enum { BLOCKS_TRIED = 64 };
    uint32_t size = 0;
    for (uint32_t i = 0; i < BLOCKS_TRIED && size == 0; i++) {
        size = block_size_from(block_file_size(label, i));
    }
    return size;
}

uint32_t space_piece(uint32_t block_size, uint32_t offset)
{
    uint64_t end = (uint64_t)offset + LEAST_PIECE;
    if (block_size != 0) {
        end = (end + block_size - 1) / block_size * block_size;
    }
    const uint64_t length = end - offset;
    return length < INT32_MAX ? (uint32_t)length : INT32_MAX;
}

/*
 * Reading tells on which side of the end an offset lies: behind it, the library
 * returns -ERANGE and loads no block. A damaged block gives 0 bytes, and lies
 * before the end. A read of the last block whole shows the end at once, and a
 * second one confirms it; only where that fails is the end searched for.
 */
static int32_t search_end(const char *label, uint32_t last_block, uint32_t room, uint8_t *bytes, uint32_t *end)
{
    uint32_t low = 0; /* low <= end <= high */
    uint32_t high = UINT32_MAX;
    uint32_t at = last_block;
    for (int reads = 1; low < high; reads++) {
        const int32_t result = space_read(label, at, room, bytes);
        if (result == -ERANGE) {
            high = at;
        } else if (result < 0) {
            return result;
        } else {
            low = at + (result > 0 ? (uint32_t)result : 1);
        }
        const uint32_t half = (high - low) / 2;
        at = low;
        if (reads > 1) {
            at += high == UINT32_MAX && low < half ? low : half;
        }
    }
    *end = low;
    return 0;
}

int32_t space_end(const char *label, uint32_t block_size, uint32_t *end)
{
    const uint32_t room = block_size != 0 ? block_size : SMALLEST_BLOCK;
    const uint32_t blocks = count_block_files(label);
    const uint64_t last_block = blocks > 0 ? (uint64_t)(blocks - 1) * block_size : 0;
    uint8_t *bytes = malloc(room);
    if (!bytes) {
        errno = ENOMEM;
        return -ENOMEM;
    }
    const int32_t result = search_end(label, last_block < UINT32_MAX ? (uint32_t)last_block : 0, room, bytes, end);
    const int reason = errno;
    free(bytes);
    errno = reason;
    return result;
}

static bool label_add(struct labels *labels, const char *label)
{
    const size_t used = labels->count;
    if ((used & (used - 1)) == 0) { /* full: 0, 1, 2, 4, ... */
        void *items = realloc(labels->items, (used > 0 ? used * 2 : 1) * sizeof *labels->items);
        if (!items) {
            return false;
        }
        labels->items = items;
    }
    memcpy(labels->items[used], label, strlen(label) + 1);
    labels->count++;
    return true;
}

static int compare_labels(const void *one, const void *other)
{
    return strcmp(one, other);
}

/* Returns false, with errno, when it could not be read to its end. */
static bool read_labels(DIR *directory, struct labels *labels)
{
    static const char prefix[] = "VORN_HDR_";
    const size_t prefix_length = sizeof prefix - 1;
    struct dirent *entry;
    while (errno = 0, (entry = readdir(directory)) != NULL) {
        const char *label = entry->d_name + prefix_length;
        if (strncmp(entry->d_name, prefix, prefix_length) == 0 && strlen(label) <= LONGEST_LABEL &&
            !label_add(labels, label)) {
            return false;
        }
    }
    return errno == 0;
}

bool labels_list(struct labels *labels)
{
    *labels = (struct labels){NULL, 0};
    char *path = app_get_data_path();
    if (!path) {
        complain("the data directory", "cannot be found or made");
        return false;
    }
    DIR *directory = opendir(path);
    const bool is_complete = directory && read_labels(directory, labels);
    if (!is_complete) {
        complain(path, "%s", strerror(errno));
        labels_free(labels);
    } else if (labels->count > 0) {
        qsort(labels->items, labels->count, sizeof *labels->items, compare_labels);
    }
    if (directory) {
        (void)closedir(directory);
    }
    free(path);
    return is_complete;
}

void labels_free(struct labels *labels)
{
    free(labels->items);
    *labels = (struct labels){NULL, 0};
}
