#define OPERATION "vorn_write"

#include <cstring>

#include "log.h"
#include "vorn.h"
#include "vorn/change.h"
#include "vorn/walk.h"

static int32_t replace_block(space_change *change, uint32_t index, backend_buffer block)
{
    const bool is_counted = index < change->made.last || !change->made.grows;
    const int32_t status = vorn_update_data(change, index, is_counted ? KEPT | index : 0, block);
    if (status == 0)
        return 0;
    return FAILED(status, errno, "Failed to update data block %s (%d)", vorn_name(change->space, index), status);
}

// Stores one piece of the range: loads its block, changes it, and replaces or
// creates it.
static int32_t store_piece(space_change *change, const block_walk &walk, const unsigned char *piece,
                           backend_buffer block)
{
    data_space *const space = change->space;
    const int32_t status = vorn_load(space, walk.index);
    const int reason = errno;
    if (status != 0 && status != BACKEND_ERR_ALIAS_STATE)
        return FAILED(status, reason, "backend_get_data for %s failed (%d)", space->name, status);
    if (walk.chunk == block.size) {
        block.data = const_cast<unsigned char *>(piece);   // it is only read
    } else {
        const uint32_t size = status == 0 ? std::min(space->loaded.get()->size, block.size) : 0;
        if (size > 0)
            memcpy(block.data, space->loaded.get()->data, size);
        memset(block.data + size, 0, block.size - size);
        memcpy(block.data + walk.position, piece, walk.chunk);
    }
    space->loaded.reset();
    if (status == 0)
        return replace_block(change, walk.index, block);
    const int32_t saved = vorn_save(change, walk.index, 0, block);
    if (saved == 0)
        return 0;
    return FAILED(saved, reason == ENOENT ? errno : reason, "backend_save_data for %s failed (%d)",
                  vorn_name(space, walk.index), saved);
}

// Records the new end of the data. Returns 0, -ENOMEM, or another status that does not
// change the call's result.
static int32_t replace_header(space_change *change, uint32_t data_size)
{
    data_space *const space = change->space;
    const owned<unsigned char> copy(static_cast<unsigned char *>(malloc(HEADER_SIZE)));
    if (copy == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "malloc failed");
    memcpy(copy.get(), &space->header, HEADER_SIZE);
    memcpy(copy.get() + offsetof(data_space_header, data_size), &data_size, sizeof data_size);
    const int32_t status = vorn_update_data(change, HEADER, KEPT | change->made.last, {copy.get(), HEADER_SIZE});
    if (status == 0)
        return 0;
    return FAILED(-1, errno, "Failed to update header block %s (%d)", vorn_name(space, HEADER), status);
}

// Stores the range. Returns the walk as it ended.
static block_walk store_blocks(space_change *change, uint32_t offset, uint32_t length, const unsigned char *bytes,
                               unsigned char *block)
{
    const uint32_t block_size = change->space->header.block_size;
    block_walk walk(block_size, offset, length);
    while (walk.left > 0) {
        if (store_piece(change, walk, bytes + walk.done, {block, block_size}) != 0) {
            change->reason = errno;
            break;
        }
        walk.next(block_size);
    }
    return walk;
}

// What a write up to the offset `end` is going to change.
static sign sign_of(const data_space_header &header, uint32_t offset, uint32_t end)
{
    const bool grows = end > header.data_size;
    const uint32_t last = grows ? vorn_block_count(header) : block_at(end - 1, header.block_size);
    return {sign::WRITE, block_at(offset, header.block_size), last, grows};
}

static int32_t write_range(data_space *space, uint32_t offset, uint32_t length, const unsigned char *bytes)
{
    const data_space_header &header = space->header;
    owned<unsigned char> block(static_cast<unsigned char *>(malloc(header.block_size)));
    if (block == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "malloc failed");
    space_change change = {space, sign_of(header, offset, offset + length)};
    if (vorn_begin(&change) != 0)
        return 0;
    const block_walk walk = store_blocks(&change, offset, length, bytes, block.get());
    block.reset();
    const uint32_t end = offset + walk.done;
    const int32_t recorded = end > header.data_size ? replace_header(&change, end) : 0;
    if (recorded != 0 && change.reason == 0)
        change.reason = errno;
    const bool is_complete = recorded == 0 && (walk.left == 0 || end > header.data_size);
    const bool is_kept = vorn_end_write(&change, is_complete);
    const auto stored = static_cast<int32_t>(is_kept ? walk.done : 0);
    return fail(recorded == -ENOMEM ? -ENOMEM : stored, change.reason);
}

int32_t vorn_write(const char *label, uint32_t offset, uint32_t length, const void *buffer)
{
    data_space space;
    const int32_t status = vorn_read_header(label, &space);
    if (status != 0)
        return FAILED(status, errno, "Failed to read header (%d)", status);
    if (length == 0 || buffer == nullptr)
        return FAILED(-EINVAL, EINVAL, "Invalid argument");
    const uint32_t room = UINT32_MAX - offset;
    if (offset > space.header.data_size || room == 0)
        return FAILED(-ERANGE, ERANGE, "Offset is far away from data block");
    return write_range(&space, offset, std::min({length, room, uint32_t{INT32_MAX}}),
                       static_cast<const unsigned char *>(buffer));
}
