#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "FileBackend/vorn-backend/backend.h"
#include "log.h"
#include "owned.h"
#include "platform/app_common.h"

// The stages of a deletion bear the operation's name, because their messages do.

static presence find_leftover(const char *directory, const backend_leftovers &leftovers, int32_t index,
                              object_path *path)
{
    char alias[ALIAS_ROOM];
    leftovers.name(alias, leftovers.label, index);
    return set_object_path(path, directory, alias) ? object_presence(*path) : presence::ABSENT;
}

// Deletes the leftovers, the last one first: where that is cut short, no gap
// hides the rest from the next time.
static int32_t file_remove_alias(const char *directory, const backend_leftovers &leftovers, object_path *path)
{
    int32_t index = leftovers.first;
    presence found = find_leftover(directory, leftovers, index, path);
    while (found == presence::PRESENT)
        found = find_leftover(directory, leftovers, ++index, path);
    if (found == presence::UNKNOWN) {
        LOG_ERROR("lstat for %s failed : %m", path->object);
        return BACKEND_ERR_PATH;
    }
    while (index > leftovers.first) {
        find_leftover(directory, leftovers, --index, path);
        if (!settle_object(*path)) {
            LOG_ERROR("unlink for %s failed : %m", path->side);
            return BACKEND_ERR_PATH;
        }
        if (unlinkat(AT_FDCWD, path->object, 0) != 0 && errno != ENOENT) {
            LOG_ERROR("unlink for %s failed : %m", path->object);
            return BACKEND_ERR_PATH;
        }
    }
    return 0;
}

// Finds where the object lies, and deletes the leftovers there.
static int32_t file_remove_alias(const char *alias, const backend_leftovers *leftovers, object_path *path)
{
    const owned<char> directory(app_get_data_path());
    if (directory == nullptr) {
        LOG_ERROR("app_get_data_path failed");
        return -ENOMEM;
    }
    const int32_t status = leftovers != nullptr ? file_remove_alias(directory.get(), *leftovers, path) : 0;
    if (status != 0)
        return status;
    if (!set_object_path(path, directory.get(), alias)) {
        LOG_ERROR("Path for %s is too long", alias);
        return BACKEND_ERR_PATH;
    }
    return 0;
}

// Deletes the file.
static int32_t file_remove_alias(const object_path &path)
{
    if (unlink(path.object) == 0)
        return 0;
    const int error = errno;
    LOG_ERROR("unlink for %s failed : %m", path.object);
    return error == ENOENT ? BACKEND_ERR_ALIAS_STATE : BACKEND_ERR_PATH;
}

int32_t file_remove_alias(const char *alias, const backend_leftovers *leftovers)
{
    object_path path;
    const int32_t status = file_remove_alias(alias, leftovers, &path);
    if (status != 0)
        return status;
    if (!settle_object(path)) {
        LOG_ERROR("unlink for %s failed : %m", path.side);
        return BACKEND_ERR_PATH;
    }
    return file_remove_alias(path);
}

int32_t file_remove_alias(const char *alias, object_change *change)
{
    const int32_t status = file_remove_alias(alias, nullptr, &change->path);
    if (status != 0)
        return status;
    switch (change->set_aside()) {
    case object_change::TO_DO:
        break;
    case object_change::DONE:
        return 0;
    case object_change::REFUSED:
        LOG_ERROR("unlink for %s failed : %m", change->path.object);
        return BACKEND_ERR_PATH;
    }
    return file_remove_alias(change->path);
}
