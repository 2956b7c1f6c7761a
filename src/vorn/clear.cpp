#include "vorn/clear.h"

#include <cerrno>

#include "FileBackend/vorn-backend/names.h"
#include "log.h"

bool vorn_clear(const data_space &space, const object_name &name)
{
    const int error = file_delete(space.directory.get(), name.text);
    if (error == 0)
        return true;
    errno = error;
    LOG_WARNING("unlink for %s/%s failed : %m", space.directory.get(), name.text);
    return false;
}

bool vorn_clear_kept(const data_space &space, uint32_t first, uint32_t end)
{
    bool all = true;
    for (uint32_t i = end; i-- > first;)
        all = vorn_clear(space, vorn_kept_name(space.label, i)) && all;
    return all;
}

bool vorn_clear_blocks(const data_space &space, uint32_t first, uint32_t end)
{
    bool all = true;
    for (uint32_t i = end; i-- > first;)
        all = vorn_clear(space, vorn_block_name(space.label, i)) && all;
    return all;
}

uint32_t vorn_find_end(const data_space &space, uint32_t first)
{
    uint32_t end = first;
    while (end < BLOCK_LIMIT && file_look(space.directory.get(), vorn_block_name(space.label, end).text) == 0)
        ++end;
    return end;
}
