#define OPERATION "vorn_read_header"

#include <cstring>

#include "log.h"
#include "vorn/data_space.h"

int32_t vorn_load_header(data_space *space, file_id id)
{
    const int32_t status = vorn_load(space, id);
    if (status != 0)
        return status;
    const loaded_object loaded = std::move(space->loaded);
    if (loaded.get()->size != HEADER_SIZE)
        return FAILED(-EIO, EBADMSG, "Invalid header size");
    memcpy(&space->header, loaded.get()->data, HEADER_SIZE);
    if (!vorn_block_size_is_valid(space->header.block_size))
        return FAILED(-EIO, EBADMSG, "Invalid block size");
    return 0;
}

int32_t vorn_read_header(const char *label, data_space *space)
{
    if (!vorn_label_is_valid(label))
        return FAILED(-EINVAL, EINVAL, "Invalid label");
    space->label = label;
    int32_t status = vorn_load_header(space, HEADER);
    int reason = status == 0 ? 0 : errno;
    if (status != 0 && status != -EIO) {
        LOG_WARNING("backend_get_data failed (%d)", status);
        status = status == BACKEND_ERR_ALIAS_STATE ? -ENODATA : -1;
    }
    return vorn_settle(space, status, reason);
}
