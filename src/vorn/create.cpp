#include <cerrno>
#include <cstring>

#include "log.h"
#include "owned.h"
#include "small_stack.h"
#include "vorn.h"
#include "vorn/data_space.h"

// Stores the header of a new data space. It bears the operation's name, because
// its messages do.
NOT_INLINED static int32_t vorn_create(const char *label, const data_space_header &header)
{
    const owned<void> copy(malloc(sizeof header));
    if (copy == nullptr) {
        LOG_ERROR("malloc failed");
        return -ENOMEM;
    }
    memcpy(copy.get(), &header, sizeof header);
    char name[ALIAS_ROOM];
    vorn_header_name(name, label);
    object_change change;
    const backend_buffer bytes = {static_cast<unsigned char *>(copy.get()), sizeof header};
    const int32_t status = backend_save_data(name, bytes, &change);
    if (status != 0) {
        LOG_ERROR("backend_save_data for %s failed (%d)", name, status);
        return -1;
    }
    return 0;
}

int32_t vorn_create(const char *label, uint32_t block_size, uint32_t flags)
{
    if (!vorn_label_is_valid(label)) {
        LOG_ERROR("Invalid label");
        return -EINVAL;
    }
    if (!vorn_block_size_is_valid(block_size)) {
        LOG_ERROR("Invalid block size");
        return -EINVAL;
    }
    data_space_header header;
    const int32_t status = vorn_read_header(label, &header);
    if (status == 0) {
        if ((flags & VORN_CREATE_REPLACE) == 0) {
            LOG_ERROR("Data space with label %s alreay exists", label);
            return -EEXIST;
        }
        const int32_t removed = vorn_remove(label);
        if (removed != 0)
            LOG_WARNING("Failed to remove old data space (%d)", removed);
    } else if (status != -ENODATA) {
        LOG_WARNING("Failed to read old data space (%d)", status);
    }
    header = {};
    header.block_size = block_size;
    header.flags = flags;
    return vorn_create(label, header);
}
