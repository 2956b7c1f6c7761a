#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "log.h"
#include "owned.h"
#include "small_stack.h"
#include "vorn.h"
#include "vorn/data_space.h"

// The stages of a write bear the operation's name, because their messages do.

// Stores a block that did not exist.
NOT_INLINED static bool vorn_write(const char *name, unsigned char *block, uint32_t block_size)
{
    object_change change;
    const int32_t status = backend_save_data(name, {block, block_size}, &change);
    if (status != 0)
        LOG_ERROR("backend_save_data for %s failed (%d)", name, status);
    return status == 0;
}

// Stores one piece of the range: loads its block, changes it, and replaces or
// creates it. Returns false when the walk ends here.
static bool vorn_write(const char *label, const block_walk &walk, const unsigned char *piece, unsigned char *block,
                       uint32_t block_size)
{
    char name[ALIAS_ROOM];
    vorn_block_name(name, label, walk.index);
    backend_buffer *record = nullptr;
    int32_t status = backend_get_data(name, &record);
    if (status == BACKEND_ERR_ALIAS_STATE) {
        memset(block, 0, block_size);
        memcpy(block + walk.position, piece, walk.chunk);
        return vorn_write(name, block, block_size);
    }
    if (status != 0) {
        LOG_ERROR("backend_get_data for %s failed (%d)", name, status);
        return false;
    }
    loaded_object loaded(record);
    const uint32_t size = std::min(record->size, block_size);
    memcpy(block, record->data, size);
    memset(block + size, 0, block_size - size);
    loaded.reset();
    memcpy(block + walk.position, piece, walk.chunk);
    status = vorn_update_data(name, block, block_size);
    if (status != 0)
        LOG_ERROR("Failed to update data block %s (%d)", name, status);
    return status == 0;
}

// Records the new end of the data. Returns 0 also when that fails for another
// reason than memory: the blocks are stored.
static int32_t vorn_write(const char *label, const data_space_header &header)
{
    const owned<void> copy(malloc(sizeof header));
    if (copy == nullptr) {
        LOG_ERROR("malloc failed");
        return -ENOMEM;
    }
    memcpy(copy.get(), &header, sizeof header);
    char name[ALIAS_ROOM];
    vorn_header_name(name, label);
    const int32_t status = vorn_update_data(name, copy.get(), sizeof header);
    if (status != 0)
        LOG_ERROR("Failed to update header block %s (%d)", name, status);
    return 0;
}

int32_t vorn_write(const char *label, uint32_t offset, uint32_t length, const void *buffer)
{
    data_space_header header;
    const int32_t status = vorn_read_header(label, &header);
    if (status != 0) {
        LOG_ERROR("Failed to read header (%d)", status);
        return status;
    }
    if (length == 0 || buffer == nullptr) {
        LOG_ERROR("Invalid argument");
        return -EINVAL;
    }
    const uint32_t room = UINT32_MAX - offset;
    if (offset > header.data_size || room == 0) {
        LOG_ERROR("Offset is far away from data block");
        return -ERANGE;
    }
    owned<unsigned char> block(static_cast<unsigned char *>(malloc(header.block_size)));
    if (block == nullptr) {
        LOG_ERROR("malloc failed");
        return -ENOMEM;
    }
    block_walk walk(header.block_size, offset, std::min({length, room, uint32_t{INT32_MAX}}));
    const auto *bytes = static_cast<const unsigned char *>(buffer);
    while (walk.left > 0 && vorn_write(label, walk, bytes + walk.done, block.get(), header.block_size))
        walk.next(header.block_size);
    block.reset();
    const uint32_t end = offset + walk.done;
    if (end > header.data_size) {
        header.data_size = end;
        const int32_t recorded = vorn_write(label, header);
        if (recorded != 0)
            return recorded;
    }
    return static_cast<int32_t>(walk.done);
}
