/*
 * What a data space is in storage: a header object, and one object for each
 * block that has been written.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "FileBackend/vorn-backend/backend.h"

/* The content of a header object: this record's image in memory. */
struct data_space_header {
    uint32_t block_size;   // bytes per block, a multiple of 512
    uint32_t flags;        // as given to vorn_create; never read back
    uint8_t reserved_1[56];
    uint32_t data_size;   // bytes in the data space
    uint8_t reserved_2[60];
};
static_assert(sizeof(data_space_header) == 128);
static_assert(offsetof(data_space_header, flags) == 4);
static_assert(offsetof(data_space_header, data_size) == 64);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the fields are stored as they lie in memory");

/* Longest label, in bytes without its NUL. */
constexpr uint32_t LABEL_MAX = 32;

bool vorn_label_is_valid(const char *label);
bool vorn_block_size_is_valid(uint32_t block_size);

void vorn_header_name(char (&name)[ALIAS_ROOM], const char *label);
void vorn_block_name(char (&name)[ALIAS_ROOM], const char *label, int32_t index);

/*
 * Checks the label and loads the header. Returns 0 and fills *header, or leaves
 * it alone and returns -EINVAL for a bad label, -ENODATA when there is no such
 * data space, -EIO when the object is not a header, -1 when it cannot be loaded.
 */
int32_t vorn_read_header(const char *label, data_space_header *header);

/*
 * Replaces the object `name` by `count` bytes. Returns 0, or the backend's
 * status, and then the object holds what it held before.
 */
int32_t vorn_update_data(const char *name, void *bytes, uint32_t count);

/*
 * The way of a byte range through the blocks.
 */
struct block_walk {
    int32_t index;       // the block
    uint32_t position;   // where in it the piece begins
    uint32_t chunk;      // bytes of the piece
    uint32_t left;       // bytes still to move, this piece included
    uint32_t done;       // bytes moved

    block_walk(uint32_t block_size, uint32_t offset, uint32_t length);
    void next(uint32_t block_size);
};
