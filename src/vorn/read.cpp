#define OPERATION "vorn_read"

#include <cstring>

#include "log.h"
#include "vorn.h"
#include "vorn/data_space.h"
#include "vorn/walk.h"

// Delivers one piece of the range. Returns the number of bytes; fewer than the piece
// has end the read, with the reason in errno.
static int32_t load_piece(data_space *space, const block_walk &walk, unsigned char *piece)
{
    const int32_t status = vorn_load(space, walk.index);
    if (status != 0)
        return WARNED(0, errno, "backend_get_data for %s failed (%d)", space->name, status);
    const backend_buffer &block = *space->loaded.get();
    const uint32_t position = std::min(walk.position, block.size);
    const uint32_t size = std::min(walk.chunk, block.size - position);
    const auto count = static_cast<int32_t>(size);
    memcpy(piece, block.data + position, size);
    // What follows a short block would be delivered at the wrong position.
    return size == walk.chunk ? count : WARNED(count, EBADMSG, "%s is too short (%u)", space->name, block.size);
}

int32_t vorn_read(const char *label, uint32_t offset, uint32_t length, void *buffer)
{
    data_space space;
    const int32_t status = vorn_read_header(label, &space);
    if (status != 0)
        return FAILED(status, errno, "Failed to read header (%d)", status);
    if (length == 0 || buffer == nullptr)
        return FAILED(-EINVAL, EINVAL, "Invalid argument");
    const data_space_header &header = space.header;
    if (offset >= header.data_size)
        return FAILED(-ERANGE, ERANGE, "Offset is far away from data block");
    block_walk walk(header.block_size, offset, std::min({header.data_size - offset, length, uint32_t{INT32_MAX}}));
    auto *const bytes = static_cast<unsigned char *>(buffer);
    while (walk.left > 0) {
        const auto count = static_cast<uint32_t>(load_piece(&space, walk, bytes + walk.done));
        if (count < walk.chunk)
            return static_cast<int32_t>(walk.done + count);
        walk.next(header.block_size);
    }
    return fail(static_cast<int32_t>(walk.done), 0);
}
