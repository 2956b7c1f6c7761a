#define OPERATION "file_remove_alias"

#include <unistd.h>

#include <cerrno>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/object_path.h"
#include "log.h"
#include "platform/app_common.h"

int32_t file_remove_alias(const char *alias)
{
    const owned<char> directory(app_get_data_path());
    if (directory == nullptr)
        return FAILED(-ENOMEM, ENOTDIR, "app_get_data_path failed");
    char path[PATH_ROOM];
    if (!set_object_path(path, directory.get(), alias))
        return FAILED(BACKEND_ERR_PATH, ENAMETOOLONG, "Path for %s is too long", alias);
    if (unlink(path) == 0)
        return 0;
    const int32_t status = errno == ENOENT ? BACKEND_ERR_ALIAS_STATE : BACKEND_ERR_PATH;
    return FAILED(status, errno, "unlink for %s failed : %m", path);
}
