#include "vorn/files.h"

#include "log.h"

int vorn_file_do(name_call call, const data_space &space, file_id id, file_id second)
{
    object_name name;
    object_name other;
    vorn_name(name, space.label, id);
    vorn_name(other, space.label, second);
    return file_name_do(call, space.directory.get(), name, other);
}

int vorn_look(const data_space &space, file_id id, file_identity *identity)
{
    object_name name;
    file_identity ignored;
    vorn_name(name, space.label, id);
    return file_look(space.directory.get(), name, identity != nullptr ? identity : &ignored);
}

int32_t vorn_report(const char *call, const data_space &space, file_id id, int error)
{
    object_name name;
    vorn_name(name, space.label, id);
    errno = error;
    return FAILED(-1, error, "%s for %s/%s failed : %m", call, space.directory.get(), name);
}

bool vorn_clear(const data_space &space, file_id id)
{
    const int error = vorn_file_do(name_call::UNLINK, space, id);
    if (error == 0)
        return true;
    object_name name;
    vorn_name(name, space.label, id);
    errno = error;
    LOG_WARNING("unlink for %s/%s failed : %m", space.directory.get(), name);
    return false;
}

bool vorn_clear_range(const data_space &space, file_id first, file_id end)
{
    bool all = true;
    while (end > first)
        all = vorn_clear(space, --end) && all;
    return all;
}

uint32_t vorn_find_end(const data_space &space, uint32_t first)
{
    uint32_t end = first;
    while (end < BLOCK_LIMIT && vorn_look(space, end) == 0)
        ++end;
    return end;
}

int32_t vorn_flush(const data_space &space)
{
    const int error = file_flush_directory(space.directory.get());
    if (error == 0)
        return 0;
    errno = error;
    return FAILED(-1, error, "fsync for %s failed : %m", space.directory.get());
}
