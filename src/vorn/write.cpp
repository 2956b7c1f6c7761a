#define OPERATION "vorn_write"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "log.h"
#include "small_stack.h"
#include "vorn.h"
#include "vorn/change.h"
#include "vorn/walk.h"

// Stores a block that did not exist.
NOT_INLINED static outcome store_new_block(write_change *change, const object_name &name, backend_buffer block)
{
    const outcome saved = backend_save_data(name.text, block);
    if (saved.status != 0) {
        LOG_ERROR("backend_save_data for %s failed (%d)", name.text, saved.status);
        vorn_take_back(change, name, nullptr, saved);
    }
    return saved;
}

NOT_INLINED static outcome replace_block(write_change *change, const object_name &name, uint32_t index,
                                         backend_buffer block)
{
    const object_name kept = vorn_kept_name(change->space->label, index);
    const bool is_counted = index < vorn_block_count(change->space->header);
    const outcome updated = vorn_update_data(change, name, is_counted ? &kept : nullptr, block);
    if (updated.status != 0)
        LOG_ERROR("Failed to update data block %s (%d)", name.text, updated.status);
    return updated;
}

// Stores one piece of the range: loads its block, changes it, and replaces or
// creates it.
static outcome store_piece(write_change *change, const block_walk &walk, const unsigned char *piece,
                           backend_buffer block)
{
    const object_name name = vorn_block_name(change->space->label, walk.index);
    backend_buffer *record = nullptr;
    const outcome load = backend_get_data(name.text, &record);
    loaded_object loaded(record);
    if (load.status != 0 && load.status != BACKEND_ERR_ALIAS_STATE)
        return FAILED(load.status, load.reason, "backend_get_data for %s failed (%d)", name.text, load.status);
    const uint32_t size = load.status == 0 ? std::min(record->size, block.size) : 0;
    if (size > 0)
        memcpy(block.data, record->data, size);
    memset(block.data + size, 0, block.size - size);
    loaded.reset();
    memcpy(block.data + walk.position, piece, walk.chunk);
    return load.status == 0 ? replace_block(change, name, walk.index, block) : store_new_block(change, name, block);
}

// Records the new end of the data. The status is 0, -ENOMEM, or another one that does
// not change the call's result.
static outcome replace_header(write_change *change, uint32_t data_size)
{
    const data_space &space = *change->space;
    data_space_header header = space.header;
    header.data_size = data_size;
    const owned<unsigned char> copy(static_cast<unsigned char *>(malloc(sizeof header)));
    if (copy == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "malloc failed");
    memcpy(copy.get(), &header, sizeof header);
    const object_name name = vorn_header_name(space.label);
    const object_name kept = vorn_kept_name(space.label, vorn_block_count(space.header));
    const outcome updated = vorn_update_data(change, name, &kept, {copy.get(), sizeof header});
    if (updated.status != 0)
        return FAILED(-1, updated.reason, "Failed to update header block %s (%d)", name.text, updated.status);
    return {0};
}

static outcome write_range(const data_space &space, uint32_t offset, uint32_t length, const unsigned char *bytes)
{
    const uint32_t block_size = space.header.block_size;
    owned<unsigned char> block(static_cast<unsigned char *>(malloc(block_size)));
    if (block == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "malloc failed");
    write_change change = {&space, {}};
    if (!vorn_begin_write(&change, offset, offset + length))
        return {0, change.trouble.reason};
    block_walk walk(block_size, offset, length);
    outcome step = {0};
    while (walk.left > 0 && step.status == 0) {
        step = store_piece(&change, walk, bytes + walk.done, {block.get(), block_size});
        if (step.status == 0)
            walk.next(block_size);
    }
    block.reset();
    bool is_complete = walk.left == 0;
    const uint32_t end = offset + walk.done;
    if (end > space.header.data_size) {
        const outcome recorded = replace_header(&change, end);
        is_complete = recorded.status == 0;
        step = step.status == 0 || recorded.status == -ENOMEM ? recorded : step;
    }
    if (!vorn_end_write(&change, walk.index - offset / block_size, is_complete))
        walk.done = 0;
    const int reason = step.status != 0 ? step.reason : change.trouble.reason;
    return {step.status == -ENOMEM && !is_complete ? -ENOMEM : static_cast<int32_t>(walk.done), reason};
}

static outcome check_and_write(const char *label, uint32_t offset, uint32_t length, const void *buffer)
{
    data_space space;
    const outcome found = vorn_read_header(label, &space);
    if (found.status != 0)
        return FAILED(found.status, found.reason, "Failed to read header (%d)", found.status);
    if (length == 0 || buffer == nullptr)
        return FAILED(-EINVAL, EINVAL, "Invalid argument");
    const uint32_t room = UINT32_MAX - offset;
    if (offset > space.header.data_size || room == 0)
        return FAILED(-ERANGE, ERANGE, "Offset is far away from data block");
    return write_range(space, offset, std::min({length, room, uint32_t{INT32_MAX}}),
                       static_cast<const unsigned char *>(buffer));
}

int32_t vorn_write(const char *label, uint32_t offset, uint32_t length, const void *buffer)
{
    return vorn_answer(check_and_write(label, offset, length, buffer));
}
