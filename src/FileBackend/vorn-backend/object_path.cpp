#include "FileBackend/vorn-backend/object_path.h"

#include <cstdio>

namespace {

bool fits(int length)
{
    return length >= 0 && length < static_cast<int>(sizeof object_path::object);
}

}   // namespace

bool set_object_path(object_path *path, const char *directory, const char *alias)
{
    // A prefix, because a suffix could be the end of another object's label.
    if (!fits(snprintf(path->side, sizeof path->side, "%s/VORN_OLD_%s", directory, alias)))
        path->side[0] = '\0';
    return fits(snprintf(path->object, sizeof path->object, "%s/%s", directory, alias));
}
