// A 32-bit lstat fails on inode numbers of 64 bits, which xfs, btrfs and tmpfs
// have. No off_t leaves this file.
#ifndef __LP64__
#define _FILE_OFFSET_BITS 64
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

bool exists(const char *path)
{
    struct stat status;
    return lstat(path, &status) == 0;
}

// unlink is for the objects that the store deletes.
bool delete_file(const char *path)
{
    return unlinkat(AT_FDCWD, path, 0) == 0 || errno == ENOENT;
}

object_change::side kept_beside(const object_path &path)
{
    struct stat status;
    if (lstat(path.side, &status) != 0 || !S_ISREG(status.st_mode))
        return object_change::NOTHING;
    return status.st_size == 0 ? object_change::MARKER : object_change::VERSION;
}

// The errors that will meet the new file as well, or that leave a side file of
// unknown age. After any other the file system just knows no such call.
bool is_grave(int error)
{
    return error == ENOSPC || error == EDQUOT || error == ENOMEM || error == EIO || error == EEXIST;
}

bool link_aside(const object_path &path)
{
    if (link(path.object, path.side) == 0)
        return true;
    // What stands there is left over from an earlier change. It is not what the
    // object holds now.
    return errno == EEXIST && delete_file(path.side) && link(path.object, path.side) == 0;
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
    if (status == 0)
        bring_back(path);
    return status;
}

// Whether a marker stands at the side file's place after all.
bool mark_over(const object_path &path)
{
    if (kept_beside(path) == object_change::MARKER)
        return true;
    backend_buffer *previous = nullptr;
    bool refused = false;
    const int32_t status = load_side_file(path, &previous, &refused);
    const loaded_object release(previous);
    if (status == 0 || !refused) {
        errno = EEXIST;
        return false;
    }
    return delete_file(path.side) && mknod(path.side, S_IFREG | 0600, 0) == 0;
}

}   // namespace

object_change::aside object_change::set_aside()
{
    if (link_aside(path)) {
        kept = VERSION;
        return GO_ON;
    }
    if (errno == ENOENT)
        return GO_ON;
    if (!is_grave(errno) && rename(path.object, path.side) == 0) {
        kept = VERSION;
        return MOVED;
    }
    return is_grave(errno) ? REFUSED : GO_ON;
}

bool object_change::mark_new()
{
    // What exists without having been set aside is not ours to undo: the
    // exclusive create will refuse it.
    if (kept == VERSION || exists(path.object))
        return true;
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
    if (exists(path.side))
        delete_file(path.side);
}

int32_t recover_object(const object_path &path, int32_t status, backend_buffer **out)
{
    bool refused = false;
    switch (kept_beside(path)) {
    case object_change::NOTHING:
        return status;
    case object_change::MARKER:
        if (delete_file(path.object))
            delete_file(path.side);
        return BACKEND_ERR_ALIAS_STATE;
    case object_change::VERSION:
        break;
    }
    if (load_side_file(path, out, &refused) != 0)
        return status;
    LOG_WARNING("An interrupted change of %s was undone", path.object);
    return 0;
}

side_removal remove_side_file(const object_path &path)
{
    const object_change::side kept = kept_beside(path);
    if (kept == object_change::NOTHING)
        return side_removal::GO_ON;
    const bool only_copy = kept == object_change::VERSION && !exists(path.object);
    if (!delete_file(path.side))
        return side_removal::REFUSED;
    return only_copy ? side_removal::ONLY_COPY : side_removal::GO_ON;
}

bool object_stands(const object_path &path)
{
    return exists(path.object) || kept_beside(path) != object_change::NOTHING;
}
