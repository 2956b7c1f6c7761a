#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "FileBackend/vorn-backend/backend.h"
#include "log.h"
#include "owned.h"
#include "platform/app_common.h"

// The stages of a deletion bear the operation's name, because their messages do.

static void remove_leftovers(const char *directory, const backend_leftovers &leftovers, object_path *path)
{
    char alias[ALIAS_ROOM];
    for (int32_t index = leftovers.first;; ++index) {
        leftovers.name(alias, leftovers.label, index);
        if (!set_object_path(path, directory, alias) || !object_stands(*path))
            return;
        if (remove_side_file(*path) == side_removal::REFUSED ||
            (unlinkat(AT_FDCWD, path->object, 0) != 0 && errno != ENOENT))
            LOG_ERROR("unlink for %s failed : %m", path->object);
    }
}

// Finds where the object lies.
static int32_t file_remove_alias(const char *alias, const backend_leftovers *leftovers, object_path *path)
{
    const owned<char> directory(app_get_data_path());
    if (directory == nullptr) {
        LOG_ERROR("app_get_data_path failed");
        return -ENOMEM;
    }
    if (leftovers != nullptr)
        remove_leftovers(directory.get(), *leftovers, path);
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
    switch (remove_side_file(path)) {
    case side_removal::GO_ON:
        break;
    case side_removal::ONLY_COPY:
        return 0;
    case side_removal::REFUSED:
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
    case object_change::GO_ON:
        break;
    case object_change::MOVED:
        return 0;
    case object_change::REFUSED:
        LOG_ERROR("unlink for %s failed : %m", change->path.object);
        return BACKEND_ERR_PATH;
    }
    return file_remove_alias(change->path);
}
