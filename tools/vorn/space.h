/*
 * Data spaces: the library's calls, and what their files say beside them.
 */
#ifndef VORN_TOOL_SPACE_H
#define VORN_TOOL_SPACE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

enum { LONGEST_LABEL = 32, SMALLEST_BLOCK = 512 };

/* The library's calls, with a log and an errno of their own. */
int32_t space_create(const char *label, uint32_t block_size);
int32_t space_write(const char *label, uint32_t offset, uint32_t length, const void *bytes);
int32_t space_read(const char *label, uint32_t offset, uint32_t length, void *bytes);
int32_t space_remove(const char *label);

/* The block size, from the size of a block's file. 0 where no file tells it. */
uint32_t space_block_size(const char *label);

/*
 * The number of bytes to move by one call at offset: at least 4 MiB, which
 * spreads the cost of a change of the header, and up to the end of a block, so
 * that none is stored twice.
 */
uint32_t space_piece(uint32_t block_size, uint32_t offset);

/* The number of bytes that a data space holds. Returns 0 or what the library
 * said, with its errno. */
int32_t space_end(const char *label, uint32_t block_size, uint32_t *end);

/* The labels of all data spaces, sorted. */
struct labels {
    char (*items)[LONGEST_LABEL + 1];
    size_t count;
};

/* Returns false, with a message, when the data directory cannot be read. */
bool labels_list(struct labels *labels);
void labels_free(struct labels *labels);

#endif
