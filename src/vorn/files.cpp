#define OPERATION "vorn_report"

#include "vorn/files.h"

#include "log.h"

int vorn_file_do(name_call call, const data_space &space, file_id id, file_id second, uint64_t *inode)
{
    object_name name;
    object_name other;
    vorn_name(name, space.label, id);
    if (call == name_call::LINK || call == name_call::RENAME)
        vorn_name(other, space.label, second);
    return file_name_do(call, space.directory.get(), name, other, inode);
}

int32_t vorn_report(const char *call, const data_space &space, file_id id, int error, int priority)
{
    object_name name;
    vorn_name(name, space.label, id);
    errno = error;
    VORN_LOG(priority, "%s for %s/%s failed : %m", call, space.directory.get(), name);
    return fail(-1, error);
}

bool vorn_clear(const data_space &space, file_id id)
{
    const int error = vorn_file_do(name_call::UNLINK, space, id);
    if (error != 0)
        vorn_report("unlink", space, id, error, DLOG_WARN);
    return error == 0;
}

bool vorn_clear_range(const data_space &space, file_id first, file_id end)
{
    bool all = true;
    while (end > first)
        all = vorn_clear(space, --end) && all;
    return all;
}

bool vorn_find_end(const data_space &space, uint32_t *end)
{
    int error = 0;
    while (*end < BLOCK_LIMIT && (error = vorn_file_do(name_call::LSTAT, space, *end)) == 0)
        ++*end;
    if (error == 0 || error == ENOENT)
        return true;
    vorn_report("lstat", space, *end, error, DLOG_WARN);
    return false;
}

int32_t vorn_flush(const data_space &space)
{
    const int error = file_flush_directory(space.directory.get());
    if (error == 0)
        return 0;
    errno = error;
    return FAILED(-1, error, "fsync for %s failed : %m", space.directory.get());
}
