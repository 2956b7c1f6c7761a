#define OPERATION "file_remove_alias"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/object_path.h"
#include "log.h"
#include "platform/app_common.h"

outcome file_remove_alias(const char *alias, const char *kept)
{
    const owned<char> directory(app_get_data_path());
    if (directory == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "app_get_data_path failed");
    char path[PATH_ROOM];
    char kept_path[PATH_ROOM];
    if (!set_object_path(path, directory.get(), alias) ||
        (kept != nullptr && !set_object_path(kept_path, directory.get(), kept)))
        return FAILED(BACKEND_ERR_PATH, ENAMETOOLONG, "Path for %s is too long", alias);
    if ((kept == nullptr ? unlink(path) : rename(path, kept_path)) == 0)
        return {0};
    const int error = errno;
    const int32_t status = error == ENOENT ? BACKEND_ERR_ALIAS_STATE : BACKEND_ERR_PATH;
    return FAILED(status, error, "%s for %s failed : %m", kept == nullptr ? "unlink" : "rename", path);
}
