#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "log.h"
#include "vorn.h"
#include "vorn/data_space.h"

// Delivers one piece of the range. Returns the bytes delivered: fewer than the
// piece has when the read ends here. It bears the operation's name, because its
// messages do.
static uint32_t vorn_read(const char *label, const block_walk &walk, unsigned char *piece)
{
    char name[ALIAS_ROOM];
    vorn_block_name(name, label, walk.index);
    backend_buffer *record = nullptr;
    const int32_t status = backend_get_data(name, &record);
    if (status != 0) {
        LOG_WARNING("backend_get_data for %s failed (%d)", name, status);
        return 0;
    }
    const loaded_object loaded(record);
    const uint32_t position = std::min(walk.position, record->size);
    const uint32_t count = std::min(walk.chunk, record->size - position);
    memcpy(piece, record->data + position, count);
    // What follows would be delivered at the wrong position.
    if (count < walk.chunk)
        LOG_WARNING("%s is too short (%u)", name, record->size);
    return count;
}

int32_t vorn_read(const char *label, uint32_t offset, uint32_t length, void *buffer)
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
    if (offset >= header.data_size) {
        LOG_ERROR("Offset is far away from data block");
        return -ERANGE;
    }
    block_walk walk(header.block_size, offset, std::min({header.data_size - offset, length, uint32_t{INT32_MAX}}));
    auto *bytes = static_cast<unsigned char *>(buffer);
    while (walk.left > 0) {
        const uint32_t count = vorn_read(label, walk, bytes + walk.done);
        if (count < walk.chunk)
            return static_cast<int32_t>(walk.done + count);
        walk.next(header.block_size);
    }
    return static_cast<int32_t>(walk.done);
}
