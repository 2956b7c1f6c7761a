/*
 * What a data space is in storage: a header object, and one object for each
 * block that has been written. While a call changes it, a sign stands beside the
 * header, and previous versions of objects are kept under further names.
 */
#pragma once

#include <cstddef>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/names.h"
#include "vorn/sign.h"

/* The content of a header object: this record's image in memory. */
struct data_space_header {
    uint32_t block_size;   // bytes per block, a multiple of 512
    uint32_t flags;        // as given to vorn_create; never read back
    uint8_t reserved_1[56];
    uint32_t data_size;   // bytes in the data space
    uint8_t reserved_2[60];
};
constexpr uint32_t HEADER_SIZE = 128;
static_assert(sizeof(data_space_header) == HEADER_SIZE && offsetof(data_space_header, data_size) == 64);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the fields are stored as they lie in memory");

/* A data space for the length of one call. */
struct data_space {
    __attribute__((noinline)) data_space() = default;   // 90 bytes of code, in each operation

    const char *label = nullptr;
    owned<char> directory;   // where its files lie; empty when the platform did not say
    data_space_header header = {};
    sign standing;             // the sign that settling has found and not dropped
    bool is_deleted = false;   // settling has deleted the header object
    loaded_object loaded;      // by vorn_load
    char name[ALIAS_ROOM];     // by vorn_name
    file_look look;            // by LSTAT, or for SYMLINK
};

/* Longest label, in bytes without its NUL. */
constexpr uint32_t LABEL_MAX = 32;

/* No data space has a block of this number or a later one. */
constexpr uint32_t BLOCK_LIMIT = 0x1000000;

/* One of a data space's files: the block of that number, or the header. A number with
 * KEPT is the previous version of that block. HEADER with KEPT is the sign. */
using file_id = uint32_t;
constexpr file_id HEADER = 0x40000000;
constexpr file_id KEPT = 0x80000000;
constexpr file_id SIGN = KEPT | HEADER;
constexpr file_id NEXT_SIGN = KEPT | (BLOCK_LIMIT - 1);   // as no block has this number, nothing is kept there

/* Writes a number in decimal, and a NUL. Returns where the NUL is. */
char *vorn_put_number(char *next, uint32_t number);

/* Forms a file's name, which stands until the next one of the same data space. With a
 * valid label it is never cut. */
const char *vorn_name(data_space *space, file_id id);

/* Loads an object, in place of the one before. Returns the backend's status. */
int32_t vorn_load(data_space *space, file_id id);

bool vorn_label_is_valid(const char *label);
bool vorn_block_size_is_valid(uint32_t block_size);

/* Number of blocks that the header counts. */
uint32_t vorn_block_count(const data_space_header &header);

/*
 * Checks the label, loads the header, and settles a change that was interrupted.
 * Returns 0, and *space is filled; -EINVAL for a bad label; -ENODATA when there is no
 * such data space; -EIO when the object is not a header; -1 when it cannot be loaded
 * or half a change would be seen. The reason is in errno.
 */
int32_t vorn_read_header(const char *label, data_space *space);

/* Whether the reason is a failure of the machine, which says nothing about a file. */
inline bool vorn_is_fault(int reason)
{
    return reason != 0 && reason != ENOENT && reason != EBADMSG;
}

/*
 * After each load of a header, which ended with `status` and `reason`. Returns how it
 * ends now: with `status` where nothing is to be settled, -ENODATA where the data space
 * is gone, -1 where half a change would be seen. The reason is in errno. A sign that
 * stays, because something could not be cleared away, is left in space->standing.
 */
int32_t vorn_settle(data_space *space, int32_t status, int reason);

/* Loads the header object `id`. Returns 0, -EIO, or the backend's status. */
int32_t vorn_load_header(data_space *space, file_id id);
