#define OPERATION "vorn_report"

#include "vorn/files.h"

#include <algorithm>
#include <cstring>

#include "log.h"

int vorn_try(data_space *space, name_call call, file_id id, file_id second)
{
    char other[ALIAS_ROOM];
    if (call == name_call::LINK || call == name_call::RENAME)
        memcpy(other, vorn_name(space, second), sizeof other);
    const char *const directory = space->directory.get();
    return directory == nullptr ? ENOTDIR : file_name_do(call, directory, vorn_name(space, id), other, &space->look);
}

int vorn_do(data_space *space, name_call call, file_id id, file_id second)
{
    const int error = vorn_try(space, call, id, second);
    if (error != 0 && (call != name_call::LSTAT || error != ENOENT))
        vorn_report(space, call, std::max(id, second), error);   // of two names, that of the kept version
    return error;
}

int32_t vorn_report(data_space *space, name_call call, file_id id, int error)
{
    constexpr char calls[][8] = {"link", "rename", "unlink", "mknod", "symlink", "lstat", "fsync"};
    errno = error;
    // What cannot be deleted does not change a result, or the result is logged.
    VORN_LOG(call == name_call::UNLINK ? DLOG_WARN : DLOG_ERROR, "%s for %s/%s failed : %m",
             calls[static_cast<int>(call)], space->directory.get(), vorn_name(space, id));
    return fail(-1, error);
}

bool vorn_clear(data_space *space, file_id id)
{
    return vorn_do(space, name_call::UNLINK, id) == 0;
}

bool vorn_clear_range(data_space *space, file_id first, file_id end)
{
    int error = 0;
    while (end > first)
        error = vorn_clear(space, --end) ? error : errno;
    return fail(error, error) == 0;
}

bool vorn_clear_kept(data_space *space, const sign &made)
{
    return vorn_clear_range(space, KEPT | made.first, KEPT | (made.last + 1));
}

bool vorn_find_end(data_space *space, uint32_t *end)
{
    int error = 0;
    while (*end < BLOCK_LIMIT && (error = vorn_do(space, name_call::LSTAT, *end)) == 0)
        ++*end;
    return error == 0 || error == ENOENT;
}
