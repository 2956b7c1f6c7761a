#define OPERATION "vorn_read"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "log.h"
#include "vorn.h"
#include "vorn/data_space.h"
#include "vorn/walk.h"

// Delivers one piece of the range. The status is the number of bytes: fewer than the
// piece has end the read.
static outcome load_piece(const char *label, const block_walk &walk, unsigned char *piece)
{
    const object_name name = vorn_block_name(label, walk.index);
    backend_buffer *record = nullptr;
    const outcome load = backend_get_data(name.text, &record);
    if (load.status != 0) {
        LOG_WARNING("backend_get_data for %s failed (%d)", name.text, load.status);
        return {0, load.reason};
    }
    const loaded_object loaded(record);
    const uint32_t position = std::min(walk.position, record->size);
    const uint32_t count = std::min(walk.chunk, record->size - position);
    memcpy(piece, record->data + position, count);
    if (count == walk.chunk)
        return {static_cast<int32_t>(count)};
    // What follows would be delivered at the wrong position.
    LOG_WARNING("%s is too short (%u)", name.text, record->size);
    return {static_cast<int32_t>(count), EBADMSG};
}

static outcome check_and_read(const char *label, uint32_t offset, uint32_t length, void *buffer)
{
    data_space space;
    const outcome found = vorn_read_header(label, &space);
    if (found.status != 0)
        return FAILED(found.status, found.reason, "Failed to read header (%d)", found.status);
    if (length == 0 || buffer == nullptr)
        return FAILED(-EINVAL, EINVAL, "Invalid argument");
    const data_space_header &header = space.header;
    if (offset >= header.data_size)
        return FAILED(-ERANGE, ERANGE, "Offset is far away from data block");
    block_walk walk(header.block_size, offset, std::min({header.data_size - offset, length, uint32_t{INT32_MAX}}));
    auto *bytes = static_cast<unsigned char *>(buffer);
    while (walk.left > 0) {
        const outcome piece = load_piece(label, walk, bytes + walk.done);
        if (piece.reason != 0)
            return {static_cast<int32_t>(walk.done) + piece.status, piece.reason};
        walk.next(header.block_size);
    }
    return {static_cast<int32_t>(walk.done)};
}

int32_t vorn_read(const char *label, uint32_t offset, uint32_t length, void *buffer)
{
    return vorn_answer(check_and_read(label, offset, length, buffer));
}
