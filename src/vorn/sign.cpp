#include "vorn/sign.h"

#include <cerrno>
#include <cstdio>

#include "FileBackend/vorn-backend/names.h"
#include "log.h"
#include "vorn/clear.h"
#include "vorn/data_space.h"

namespace {

void write_text(const sign &from, char (&text)[TEXT_ROOM])
{
    if (from.kind == sign::REMOVAL)
        (void)snprintf(text, sizeof text, "remove %u", from.last);
    else
        (void)snprintf(text, sizeof text, "%s %u %u %d", from.kind == sign::WRITE ? "write" : "each", from.first,
                       from.last, from.grows ? 1 : 0);
}

sign parse(const char (&text)[TEXT_ROOM])
{
    unsigned first = 0;
    unsigned last = 0;
    unsigned grows = 0;
    int end = 0;
    sign read = {text[0] == '\0' ? sign::CREATION : sign::FOREIGN};
    if (sscanf(text, "write %u %u %u%n", &first, &last, &grows, &end) == 3 && text[end] == '\0')
        read.kind = sign::WRITE;
    else if (sscanf(text, "each %u %u %u%n", &first, &last, &grows, &end) == 3 && text[end] == '\0')
        read.kind = sign::EACH;
    else if (sscanf(text, "remove %u%n", &last, &end) == 1 && text[end] == '\0' && last <= BLOCK_LIMIT)
        read.kind = sign::REMOVAL;
    read.first = first;
    read.last = last;
    read.grows = grows != 0;
    return read;
}

// The errors that only say that nothing can be made here. The calls on the objects
// themselves then mostly fail in their own words.
bool is_impossible(int error)
{
    return error == EPERM || error == EACCES || error == EROFS || error == ENOSYS || error == EOPNOTSUPP ||
           error == ENOENT || error == ENOTDIR;
}

// The errors that a text file would meet as well.
bool is_final(int error)
{
    return error == EEXIST || error == EIO || error == ENOSPC || error == EDQUOT || error == ENOMEM || error == EINTR;
}

// What was tried last, and the error that it ended with.
struct attempt {
    const char *call;
    int error;
};

// Gives a removal's text the name of the sign that stands there.
attempt replace_sign(const char *directory, const char *label, const char *text)
{
    const object_name next = vorn_next_sign_name(label);
    (void)file_delete(directory, next.text);   // where it stays, the next call fails
    const int error = file_make_text_link(directory, next.text, text);
    if (error != 0)
        return {"symlink", error};
    return {"rename", file_rename(directory, next.text, vorn_sign_name(label).text)};
}

attempt try_to_make(const data_space &space, const sign &made)
{
    const char *directory = space.directory.get();
    const object_name name = vorn_sign_name(space.label);
    if (made.kind == sign::CREATION)
        return {"mknod", file_make_empty(directory, name.text)};
    char text[TEXT_ROOM];
    write_text(made, text);
    const int error = file_make_text_link(directory, name.text, text);
    if (error == EEXIST && made.kind == sign::REMOVAL && space.standing.is_ours())
        return replace_sign(directory, space.label, text);
    if (error == 0 || is_final(error))
        return {"symlink", error};
    return {"open", file_make_text_file(directory, name.text, text)};
}

}   // namespace

int vorn_read_sign(data_space *space)
{
    space->standing = {sign::IMPOSSIBLE};
    if (space->directory == nullptr || !file_name_fits(space->directory.get(), vorn_next_sign_name(space->label).text))
        return 0;
    char text[TEXT_ROOM];
    const int error = file_read_text(space->directory.get(), vorn_sign_name(space->label).text, text);
    if (error == EPERM || error == ENOSYS)
        return 0;   // a sandbox forbids to look
    space->standing = error == 0 ? parse(text) : sign{};
    return error == ENOENT ? 0 : error;
}

outcome vorn_make_sign(const data_space &space, sign *made)
{
    const attempt tried = try_to_make(space, *made);
    if (tried.error == 0)
        return {0};
    if (!is_impossible(tried.error))
        return FAILED_CALL(tried.call, space, vorn_sign_name(space.label).text, tried.error);
    made->kind = sign::IMPOSSIBLE;
    return {0};
}

outcome vorn_flush_sign(const data_space &space)
{
    const int error = file_flush_directory(space.directory.get());
    return error == 0 ? outcome{0} : FAILED_CALL("fsync", space, "", error);
}

bool vorn_drop_sign(const data_space &space)
{
    return vorn_clear(space, vorn_sign_name(space.label));
}
