#define LOGGED_NAME operation

#include "FileBackend/vorn-backend/object_path.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "FileBackend/vorn-backend/object.h"
#include "log.h"
#include "platform/app_common.h"

// With snprintf a small read takes two percent longer.
bool set_object_path(char (&path)[PATH_ROOM], const char *directory, const char *alias)
{
    char *next = path;
    const char *const parts[] = {directory, "/", alias};
    for (const char *part : parts) {
        const auto room = static_cast<size_t>(path + sizeof path - next);
        next = static_cast<char *>(memccpy(next, part, '\0', room));
        if (next == nullptr) {
            errno = ENAMETOOLONG;
            return false;
        }
        --next;   // the next part begins where this one's NUL is
    }
    return true;
}

int32_t find_object(const char *operation, const char *alias, char (&path)[PATH_ROOM], owned<char> *directory)
{
    char *const asked = app_get_data_path();
    if (asked == nullptr)
        return FAILED(-ENOMEM, ENOTDIR, "app_get_data_path failed");
    directory->reset(asked);
    if (!set_object_path(path, asked, alias))
        return FAILED(BACKEND_ERR_PATH, ENAMETOOLONG, "Path for %s is too long", alias);
    return 0;
}
