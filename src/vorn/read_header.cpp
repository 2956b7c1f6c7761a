#define OPERATION "vorn_read_header"

#include <cstring>

#include "log.h"
#include "vorn/data_space.h"
#include "vorn/settle.h"

int32_t vorn_load_header(data_space *space, file_id id)
{
    object_name name;
    vorn_name(name, space->label, id);
    backend_buffer *record = nullptr;
    const int32_t status = backend_get_data(name, &record, &space->directory);
    if (status != 0)
        return status;
    const loaded_object loaded(record);
    data_space_header candidate;
    if (record->size != sizeof candidate)
        return FAILED(-EIO, EBADMSG, "Invalid header size");
    memcpy(&candidate, record->data, sizeof candidate);
    if (!vorn_block_size_is_valid(candidate.block_size))
        return FAILED(-EIO, EBADMSG, "Invalid block size");
    space->header = candidate;
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
