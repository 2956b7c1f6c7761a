#include "vorn/sign.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "fail.h"
#include "platform/app_common.h"
#include "vorn/files.h"

namespace {

void write_text(const sign &from, char (&text)[TEXT_ROOM])
{
    if (from.kind == sign::REMOVAL)
        (void)snprintf(text, sizeof text, "remove %u", from.last);
    else
        (void)snprintf(text, sizeof text, "%s %u %u %d", from.kind == sign::WRITE ? "write" : "each", from.first,
                       from.last, from.grows ? 1 : 0);
}

// A text is a sign when that sign would be written like this.
sign parse(const char (&text)[TEXT_ROOM])
{
    if (text[0] == '\0')
        return {sign::CREATION};
    unsigned numbers[3] = {};
    (void)sscanf(text, "%*s %u %u %u", &numbers[0], &numbers[1], &numbers[2]);
    for (const auto kind : {sign::WRITE, sign::EACH, sign::REMOVAL}) {
        const bool is_removal = kind == sign::REMOVAL;
        const sign candidate = {kind, is_removal ? 0 : numbers[0], numbers[is_removal ? 0 : 1], numbers[2] != 0};
        char expected[TEXT_ROOM];
        write_text(candidate, expected);
        if (strcmp(text, expected) == 0 && candidate.last <= BLOCK_LIMIT)
            return candidate;
    }
    return {sign::FOREIGN};
}

// The errors that only say that nothing can be made here. The calls on the objects
// themselves then mostly fail in their own words.
bool is_impossible(int error)
{
    return error == EPERM || error == EACCES || error == EROFS || error == ENOSYS || error == EOPNOTSUPP ||
           error == ENOENT || error == ENOTDIR;
}

// Makes the text under another name first: a sign is never seen half made, and takes
// the place of another at once.
int make_aside(data_space *space, const char *text)
{
    const char *const directory = space->directory.get();
    int error = vorn_try(space, name_call::UNLINK, NEXT_SIGN);
    if (error == 0)
        error = file_name_do(name_call::SYMLINK, directory, vorn_name(space, NEXT_SIGN), text);
    if (error != 0 && !vorn_is_grave(error))
        error = file_name_do(name_call::TEXT_FILE, directory, vorn_name(space, NEXT_SIGN), text);
    if (error != 0)
        return error;
    error = vorn_try(space, name_call::RENAME, NEXT_SIGN, SIGN);
    if (error != 0)
        vorn_clear(space, NEXT_SIGN);
    return error;
}

int try_to_make(data_space *space, const sign &made)
{
    const bool replaces = made.kind == sign::REMOVAL && space->standing.is_ours();
    if (space->standing.kind != sign::NONE && !replaces)
        return EEXIST;
    if (made.kind == sign::CREATION)
        return vorn_try(space, name_call::MKNOD, SIGN);
    char text[TEXT_ROOM];
    write_text(made, text);
    if (replaces)
        return make_aside(space, text);
    const int error = file_name_do(name_call::SYMLINK, space->directory.get(), vorn_name(space, SIGN), text);
    return error == 0 || vorn_is_grave(error) ? error : make_aside(space, text);
}

}   // namespace

bool vorn_is_grave(int error)
{
    return error == EEXIST || error == EIO || error == ENOSPC || error == EDQUOT || error == ENOMEM || error == EINTR;
}

int32_t vorn_read_sign(data_space *space)
{
    space->standing = {sign::IMPOSSIBLE};
    if (space->directory == nullptr)   // the platform may answer now: a sign must not be overlooked
        space->directory.reset(app_get_data_path());
    constexpr char rest[] = "/VORN_OLD_VORN_DATA__16777215";   // of the longest path that may be needed
    if (space->directory == nullptr || strlen(space->directory.get()) + strlen(space->label) + sizeof rest > PATH_ROOM)
        return 0;
    space->standing = {};
    int error = vorn_do(space, name_call::LSTAT, SIGN);
    if (error != 0)
        return error == ENOENT ? 0 : -1;
    char text[TEXT_ROOM];
    error = file_read_text(space->directory.get(), vorn_name(space, SIGN), text);
    if (error != 0)
        return vorn_report(space, name_call::LSTAT, SIGN, error);
    space->standing = parse(text);
    return 0;
}

int32_t vorn_make_sign(data_space *space, sign *made)
{
    const int error = try_to_make(space, *made);
    if (error == 0)
        return 0;
    if (!is_impossible(error))
        return vorn_report(space, made->kind == sign::CREATION ? name_call::MKNOD : name_call::SYMLINK, SIGN, error);
    made->kind = sign::IMPOSSIBLE;
    return 0;
}

int32_t vorn_make_lone_sign(data_space *space, sign *made)
{
    if (vorn_make_sign(space, made) != 0)
        return -1;
    // Also without a sign: that of an earlier removal must not come back.
    if (file_system_of(space->directory.get()).is_ordered || vorn_flush(space) == 0)
        return 0;
    const int reason = errno;
    vorn_clear(space, SIGN);
    return fail(-1, reason);
}
