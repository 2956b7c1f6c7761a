/*
 * Stand-in for libcapi-appfw-app-common where the platform's own is not
 * available: the data directory comes from the environment. It needs nothing
 * but libc.
 */

/* Inode numbers can be longer than 32 bits and times can lie after 2038, and
 * stat() of a 32-bit build would then fail on a directory that is there. */
#ifndef __LP64__
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64
#endif

#include "app_common.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

namespace {

const char *absolute_path_from(const char *variable)
{
    const char *value = getenv(variable);
    return value && value[0] == '/' ? value : nullptr;
}

/*
 * The program is named as it was started. The link /proc/self/exe would not be
 * fooled by another argv[0], but it changes its text when the program's file is
 * replaced by an update, and a running process would then lose sight of its
 * data; nor is /proc always mounted. Whoever chooses argv[0] chooses HOME too,
 * so trusting it gives nothing away.
 */
const char *program_name()
{
    const char *name = program_invocation_short_name;
    if (!name || name[0] == '\0' || strcmp(name, ".") == 0 || strcmp(name, "..") == 0) {
        return nullptr;
    }
    return name;
}

char *join(const char *base, const char *middle, const char *name)
{
    char *path = nullptr;
    return asprintf(&path, "%s%s/%s", base, middle, name) < 0 ? nullptr : path;
}

/* The caller frees the result. */
char *choose_path()
{
    const char *given = getenv("VORN_DATA_DIR");
    if (given && given[0] != '\0') {
        return strdup(given);
    }

    const char *name = program_name();
    if (!name) {
        return nullptr;
    }
    /* A relative path would mean another directory after each chdir(). */
    const char *base = absolute_path_from("XDG_DATA_HOME");
    if (base) {
        return join(base, "", name);
    }
    base = absolute_path_from("HOME");
    return base ? join(base, "/.local/share", name) : nullptr;
}

/* The root directory keeps its only slash. */
void strip_trailing_slashes(char *path)
{
    size_t length = strlen(path);
    while (length > 1 && path[length - 1] == '/') {
        path[--length] = '\0';
    }
}

bool is_directory(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

/*
 * What mkdir() says about a directory that exists depends on the file system
 * (EEXIST, but also EROFS or EACCES), so only the outcome is looked at.
 */
bool make_directory(char *path)
{
    if (is_directory(path)) {
        return true;
    }
    for (char *slash = strchr(path + 1, '/'); slash; slash = strchr(slash + 1, '/')) {
        *slash = '\0';
        if (!is_directory(path)) {
            (void)mkdir(path, 0700);
        }
        *slash = '/';
    }
    (void)mkdir(path, 0700);
    return is_directory(path);
}

}   // namespace

__attribute__((visibility("default"))) char *app_get_data_path(void)
{
    char *path = choose_path();
    if (!path) {
        return nullptr;
    }
    strip_trailing_slashes(path);
    if (!make_directory(path)) {
        free(path);
        return nullptr;
    }
    return path;
}
