// A 32-bit lstat fails on inode numbers of 64 bits, which xfs, btrfs and tmpfs
// have, and on a file from after 2038. No off_t and no time leaves this file.
#ifndef __LP64__
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64
#endif

#include "FileBackend/vorn-backend/side_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/load.h"
#include "log.h"

namespace {

// unlink is for the objects that the store deletes.
bool delete_file(const char *path)
{
    return unlinkat(AT_FDCWD, path, 0) == 0 || errno == ENOENT;
}

// Only "no such file" means that there is none: what cannot be looked up may be
// the last good version.
object_change::side kept_beside(const object_path &path)
{
    struct stat status;
    if (lstat(path.side, &status) != 0)
        return errno == ENOENT ? object_change::NOTHING : object_change::UNKNOWN;
    if (!S_ISREG(status.st_mode))
        return object_change::NOTHING;
    return status.st_size == 0 ? object_change::MARKER : object_change::VERSION;
}

presence file_presence(const char *path)
{
    struct stat status;
    if (lstat(path, &status) == 0)
        return presence::PRESENT;
    return errno == ENOENT ? presence::ABSENT : presence::UNKNOWN;
}

// The errors that will meet the new file as well, and a side file that is not of
// this change. After any other the call is not to be had here.
bool is_grave(int error)
{
    return error == ENOSPC || error == EDQUOT || error == ENOMEM || error == EIO || error == EEXIST;
}

void bring_back(const object_path &path)
{
    // Two names of one file are both left by rename.
    if (rename(path.side, path.object) == 0)
        delete_file(path.side);
}

// Gives the object's name to the side file, if that holds a good object.
// *refused tells a bad side file from a fault of the machine.
int32_t load_side_file(const object_path &path, backend_buffer **out, bool *refused)
{
    const int32_t status = file_get_data(path.side, out, refused);
    if (status == 0) {
        LOG_WARNING("Going back to the previous version of %s", path.object);
        bring_back(path);
    }
    return status;
}

// Where the object is absent: makes a marker of what stands in the marker's place,
// unless that is the object itself.
bool mark_over(const object_path &path)
{
    const object_change::side kept = kept_beside(path);
    if (kept == object_change::MARKER)
        return true;
    backend_buffer *previous = nullptr;
    bool refused = false;
    if (kept == object_change::VERSION)
        load_side_file(path, &previous, &refused);
    const loaded_object release(previous);
    errno = EEXIST;
    return refused && delete_file(path.side) && mknod(path.side, S_IFREG | 0600, 0) == 0;
}

}   // namespace

object_change::deletion object_change::set_aside()
{
    if (link(path.object, path.side) == 0) {
        kept = VERSION;
        return TO_DO;
    }
    if (errno == ENOENT)
        return TO_DO;
    if (!is_grave(errno) && rename(path.object, path.side) == 0) {
        kept = VERSION;
        return DONE;
    }
    return is_grave(errno) ? REFUSED : TO_DO;
}

bool object_change::mark_new()
{
    if (kept == VERSION)
        return true;
    // What exists without having been set aside is not ours to undo: the
    // exclusive create will refuse it.
    const presence object = file_presence(path.object);
    if (object != presence::ABSENT)
        return object == presence::PRESENT;
    if (mknod(path.side, S_IFREG | 0600, 0) == 0 || (errno == EEXIST && mark_over(path)))
        kept = MARKER;
    return kept == MARKER || !is_grave(errno);
}

void object_change::drop()
{
    if (kept != NOTHING)
        delete_file(path.side);
    kept = NOTHING;
    created = false;
}

void object_change::put_back()
{
    if (kept == VERSION) {
        bring_back(path);
        return;
    }
    // The remains go first: without the marker they would block the name.
    if (created && !delete_file(path.object))
        return;
    if (kept == MARKER)
        delete_file(path.side);
}

void drop_side_file(const object_path &path)
{
    if (kept_beside(path) != object_change::NOTHING)
        delete_file(path.side);
}

int32_t recover_object(const object_path &path, int32_t status, backend_buffer **out)
{
    switch (kept_beside(path)) {
    case object_change::NOTHING:
        return status;
    case object_change::UNKNOWN:
        LOG_ERROR("lstat for %s failed : %m", path.side);
        return BACKEND_ERR_IO;
    case object_change::MARKER:
        if (delete_file(path.object))
            delete_file(path.side);
        return BACKEND_ERR_ALIAS_STATE;
    case object_change::VERSION:
        break;
    }
    bool refused = false;
    const int32_t loaded = load_side_file(path, out, &refused);
    if (refused)
        return status;
    return loaded == BACKEND_ERR_ALIAS_STATE ? BACKEND_ERR_IO : loaded;
}

bool settle_object(const object_path &path)
{
    if (kept_beside(path) == object_change::NOTHING)
        return true;
    backend_buffer *object = nullptr;
    file_get_data(path, &object);
    const loaded_object release(object);
    // What the load could not settle must not leave torn remains alone.
    const object_change::side left = kept_beside(path);
    switch (left) {
    case object_change::NOTHING:
        return true;
    case object_change::UNKNOWN:
        return false;
    case object_change::MARKER:
        return delete_file(path.object) && delete_file(path.side);
    case object_change::VERSION:
        bring_back(path);
        break;
    }
    return delete_file(path.side);
}

presence object_presence(const object_path &path)
{
    const presence object = file_presence(path.object);
    if (object != presence::ABSENT)
        return object;
    const object_change::side kept = kept_beside(path);
    if (kept == object_change::UNKNOWN)
        return presence::UNKNOWN;
    return kept == object_change::NOTHING ? presence::ABSENT : presence::PRESENT;
}
