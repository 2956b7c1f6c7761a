#define OPERATION "file_remove_alias"

#include <unistd.h>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/object_path.h"
#include "log.h"

int32_t file_remove_alias(const char *alias)
{
    owned<char> directory;
    char path[PATH_ROOM];
    int32_t status = find_object(__func__, alias, path, &directory);
    if (status != 0 || unlink(path) == 0)
        return status;
    status = errno == ENOENT ? BACKEND_ERR_ALIAS_STATE : BACKEND_ERR_PATH;
    return FAILED(status, errno, "unlink for %s failed : %m", path);
}
