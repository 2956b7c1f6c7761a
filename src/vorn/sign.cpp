#include "vorn/sign.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/app_common.h"
#include "vorn/files.h"

static void write_text(const sign &from, char (&text)[TEXT_ROOM])
{
    memset(text, 0, sizeof text);   // an object takes all of it
    char *next = stpcpy(text, from.kind == sign::WRITE ? "write " : from.kind == sign::EACH ? "each " : "remove ");
    next = vorn_put_number(next, from.first);
    if (from.kind != sign::REMOVAL)
        stpcpy(vorn_put_number(stpcpy(next, " "), from.last), from.grows ? " 1" : " 0");
}

// A text is a sign when that sign would be written like this.
static sign parse(const char *text)
{
    unsigned numbers[3] = {};
    (void)sscanf(text, "%*s %u %u %u", &numbers[0], &numbers[1], &numbers[2]);
    const auto kind = text[0] == 'w' ? sign::WRITE : text[0] == 'e' ? sign::EACH : sign::REMOVAL;
    const sign candidate = {kind, numbers[0], numbers[1], numbers[2] != 0};
    char expected[TEXT_ROOM];
    write_text(candidate, expected);
    const bool is_ours = strcmp(text, expected) == 0 && std::max(candidate.first, candidate.last) <= BLOCK_LIMIT;
    return is_ours ? candidate : sign{sign::FOREIGN};
}

// The errors that only say that nothing can be made here. The calls on the objects
// themselves then mostly fail in their own words.
static bool is_impossible(int error)
{
    return error == EPERM || error == EACCES || error == EROFS || error == ENOSYS || error == EOPNOTSUPP ||
           error == ENOENT || error == ENOTDIR;
}

// Makes the text under another name first: a sign is never seen half made, and takes
// the place of another at once. Where symbolic links are refused, it is an object.
static int make_aside(data_space *space)
{
    auto *const bytes = reinterpret_cast<unsigned char *>(space->look.text);
    int error = vorn_try(space, name_call::UNLINK, NEXT_SIGN);
    if (error == 0)
        error = vorn_try(space, name_call::SYMLINK, NEXT_SIGN);
    if (error != 0 && !vorn_is_grave(error))
        error = backend_save_data(vorn_name(space, NEXT_SIGN), {bytes, TEXT_ROOM}) == 0 ? 0 : errno;
    if (error == 0)
        error = vorn_try(space, name_call::RENAME, NEXT_SIGN, SIGN);
    if (error != 0)
        (void)vorn_try(space, name_call::UNLINK, NEXT_SIGN);
    return error;
}

static int try_to_make(data_space *space, const sign &made)
{
    const bool replaces = made.kind == sign::REMOVAL && space->standing.is_ours();
    if (space->standing.kind == sign::IMPOSSIBLE)
        return EPERM;
    if (space->standing.kind != sign::NONE && !replaces)
        return EEXIST;
    if (made.kind == sign::EACH)
        (void)vorn_clear_kept(space, made);   // what is stale must not be put back
    if (made.kind == sign::CREATION)
        return vorn_try(space, name_call::MKNOD, SIGN);
    write_text(made, space->look.text);
    // No link takes the place of another.
    const int error = replaces ? EPERM : vorn_try(space, name_call::SYMLINK, SIGN);
    return error == 0 || vorn_is_grave(error) ? error : make_aside(space);
}

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
    file_look &look = space->look;
    const int error = vorn_do(space, name_call::LSTAT, SIGN);
    if (error != 0)
        return error == ENOENT ? 0 : -1;
    if (look.is_file && !look.is_empty) {
        if (vorn_load(space, SIGN) != 0 && vorn_is_fault(errno))
            return -1;
        if (space->loaded != nullptr)
            memcpy(look.text, space->loaded.get()->data, std::min(space->loaded.get()->size, TEXT_ROOM - 1));
    }
    space->standing = look.is_empty ? sign{sign::CREATION} : parse(look.text);
    return 0;
}

int32_t vorn_make_sign(data_space *space, sign *made)
{
    const int error = try_to_make(space, *made);
    if (error != 0 && !is_impossible(error))
        return vorn_report(space, made->kind == sign::CREATION ? name_call::MKNOD : name_call::SYMLINK, SIGN, error);
    // A creation is flushed all the same: a cut must not bring back the sign of a removal before it.
    if (error != 0 && made->kind != sign::CREATION)
        made->kind = sign::IMPOSSIBLE;
    return 0;
}
