#define OPERATION operation

#include "FileBackend/vorn-backend/object_path.h"

#include <cstring>

#include "FileBackend/vorn-backend/object.h"
#include "log.h"
#include "platform/app_common.h"

// With snprintf a small read takes two percent longer.
int set_object_path(char (&path)[PATH_ROOM], const char *directory, const char *alias)
{
    if (strlen(directory) + strlen(alias) + 2 > sizeof path)
        return fail(ENAMETOOLONG, ENAMETOOLONG);
    stpcpy(stpcpy(stpcpy(path, directory), "/"), alias);
    return 0;
}

int32_t find_object(const char *operation, const char *alias, char (&path)[PATH_ROOM], owned<char> *directory)
{
    char *const asked = app_get_data_path();
    if (asked == nullptr)
        return FAILED(-ENOMEM, ENOTDIR, "app_get_data_path failed");
    directory->reset(asked);
    if (set_object_path(path, asked, alias) != 0)
        return FAILED(BACKEND_ERR_PATH, ENAMETOOLONG, "Path for %s is too long", alias);
    return 0;
}
