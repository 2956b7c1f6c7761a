/*
 * What a data space is in storage: a header object, and one object for each
 * block that has been written. While a call changes it, a sign stands beside the
 * header, and previous versions of objects are kept under further names.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "FileBackend/vorn-backend/backend.h"
#include "vorn/sign.h"

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

/* A data space for the length of one call. */
struct data_space {
    const char *label = nullptr;
    owned<char> directory;   // where its files lie; empty when the platform did not say
    data_space_header header = {};
    sign standing;             // the sign that settling has found and not dropped
    bool is_deleted = false;   // settling has deleted the header object
};

/* Longest label, in bytes without its NUL. */
constexpr uint32_t LABEL_MAX = 32;

/* No data space has a block of this number or a later one. */
constexpr uint32_t BLOCK_LIMIT = 0x1000000;

bool vorn_label_is_valid(const char *label);
bool vorn_block_size_is_valid(uint32_t block_size);

/* Number of blocks that the header counts. */
uint32_t vorn_block_count(const data_space_header &header);

/* The names of a label's objects, of the sign, and of what is kept. */
struct object_name {
    char text[ALIAS_ROOM];
};
object_name vorn_header_name(const char *label);
object_name vorn_block_name(const char *label, uint32_t index);
object_name vorn_sign_name(const char *label);
object_name vorn_kept_name(const char *label, uint32_t index);
object_name vorn_next_sign_name(const char *label);

/*
 * Checks the label, loads the header, and settles a change that was interrupted.
 * With status 0 *space is filled. Other results: -EINVAL for a bad label, -ENODATA
 * when there is no such data space, -EIO when the object is not a header, -1 when
 * it cannot be loaded or half a change would be seen.
 */
outcome vorn_read_header(const char *label, data_space *space);

/* Takes the header out of a loaded object. The status is -EIO when it is not one. */
outcome vorn_header_of(const backend_buffer &record, data_space_header *header);

/* Ends an exported call: the result, and the reason in errno. */
int32_t vorn_answer(const outcome &ended);

/* Logs that a file call on a name failed, and is the outcome. */
#define FAILED_CALL(call, space, name, error) \
    (errno = (error), FAILED(-1, error, "%s for %s/%s failed : %m", call, (space).directory.get(), name))
