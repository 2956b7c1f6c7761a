#define OPERATION "vorn_read_header"

#include <cerrno>
#include <cstring>

#include "log.h"
#include "vorn/data_space.h"
#include "vorn/settle.h"

outcome vorn_header_of(const backend_buffer &record, data_space_header *header)
{
    if (record.size != sizeof *header)
        return FAILED(-EIO, EBADMSG, "Invalid header size");
    data_space_header candidate;
    memcpy(&candidate, record.data, sizeof candidate);
    if (!vorn_block_size_is_valid(candidate.block_size))
        return FAILED(-EIO, EBADMSG, "Invalid block size");
    *header = candidate;
    return {0};
}

static outcome load_header(data_space *space)
{
    backend_buffer *record = nullptr;
    const outcome load = backend_get_data(vorn_header_name(space->label).text, &record, &space->directory);
    if (load.status != 0) {
        LOG_WARNING("backend_get_data failed (%d)", load.status);
        return {load.status == BACKEND_ERR_ALIAS_STATE ? -ENODATA : -1, load.reason};
    }
    const loaded_object loaded(record);
    return vorn_header_of(*record, &space->header);
}

outcome vorn_read_header(const char *label, data_space *space)
{
    if (!vorn_label_is_valid(label))
        return FAILED(-EINVAL, EINVAL, "Invalid label");
    space->label = label;
    return vorn_settle(space, load_header(space));
}
