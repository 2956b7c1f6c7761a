#include "vorn/data_space.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "log.h"

bool vorn_label_is_valid(const char *label)
{
    return label != nullptr && strnlen(label, LABEL_MAX + 1) <= LABEL_MAX;
}

bool vorn_block_size_is_valid(uint32_t block_size)
{
    return block_size != 0 && block_size % 512 == 0;
}

// With a valid label neither name is cut.

void vorn_header_name(char (&name)[ALIAS_ROOM], const char *label)
{
    (void)snprintf(name, sizeof name, "VORN_HDR_%s", label);
}

void vorn_block_name(char (&name)[ALIAS_ROOM], const char *label, int32_t index)
{
    (void)snprintf(name, sizeof name, "VORN_DATA_%s_%d", label, index);
}

int32_t vorn_read_header(const char *label, data_space_header *header)
{
    if (!vorn_label_is_valid(label)) {
        LOG_ERROR("Invalid label");
        return -EINVAL;
    }
    char name[ALIAS_ROOM];
    vorn_header_name(name, label);
    backend_buffer *record = nullptr;
    const int32_t status = backend_get_data(name, &record);
    if (status != 0) {
        LOG_WARNING("backend_get_data failed (%d)", status);
        return status == BACKEND_ERR_ALIAS_STATE ? -ENODATA : -1;
    }
    const loaded_object loaded(record);
    if (record->size != sizeof *header) {
        LOG_ERROR("Invalid header size");
        return -EIO;
    }
    data_space_header candidate;
    memcpy(&candidate, record->data, sizeof candidate);
    if (!vorn_block_size_is_valid(candidate.block_size)) {
        LOG_ERROR("Invalid block size");
        return -EIO;
    }
    *header = candidate;
    return 0;
}

int32_t vorn_update_data(const char *name, void *bytes, uint32_t count)
{
    object_change change;
    int32_t status = backend_remove_alias(name, &change);
    if (status == BACKEND_ERR_ALIAS_STATE) {
        LOG_WARNING("Try to write the end of data space");
    } else if (status != 0) {
        LOG_ERROR("backend_remove_alias for %s failed (%d)", name, status);
        return status;
    }
    status = backend_save_data(name, {static_cast<unsigned char *>(bytes), count}, &change);
    if (status != 0)
        LOG_ERROR("backend_save_data for %s failed (%d)", name, status);
    return status;
}

block_walk::block_walk(uint32_t block_size, uint32_t offset, uint32_t length)
    : index(static_cast<int32_t>(offset / block_size)), position(offset % block_size),
      chunk(std::min(block_size - position, length)), left(length), done(0)
{
}

void block_walk::next(uint32_t block_size)
{
    done += chunk;
    left -= chunk;
    index += 1;
    position = 0;
    chunk = std::min(block_size, left);
}
