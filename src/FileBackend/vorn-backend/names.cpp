// A 32-bit lstat fails on inode numbers of 64 bits, which xfs, btrfs and tmpfs
// have, and on a file from after 2038; a 32-bit statfs fails on a large disk. No
// off_t and no time leaves this file.
#ifndef __LP64__
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64
#endif

#include "FileBackend/vorn-backend/names.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "FileBackend/vorn-backend/object_path.h"

namespace {

// A name's path. It is empty, so that every call on it fails, where it does not fit.
struct name_path {
    char text[PATH_ROOM];

    name_path(const char *directory, const char *name)
    {
        if (!set_object_path(text, directory, name))
            text[0] = '\0';
    }
};

int error_of(ssize_t result)
{
    return result < 0 ? errno : 0;
}

// Closes, and reports the error from before.
int close_after(int error, int file)
{
    close(file);
    return error;
}

}   // namespace

bool file_name_fits(const char *directory, const char *name)
{
    return name_path(directory, name).text[0] != '\0';
}

int file_look(const char *directory, const char *name, file_identity *identity)
{
    struct stat status;
    if (lstat(name_path(directory, name).text, &status) != 0)
        return errno;
    if (identity != nullptr)
        *identity = {status.st_dev, status.st_ino};
    return 0;
}

int file_link(const char *directory, const char *name, const char *second)
{
    return error_of(link(name_path(directory, name).text, name_path(directory, second).text));
}

int file_rename(const char *directory, const char *name, const char *second)
{
    return error_of(rename(name_path(directory, name).text, name_path(directory, second).text));
}

int file_delete(const char *directory, const char *name)
{
    const int error = error_of(unlinkat(AT_FDCWD, name_path(directory, name).text, 0));
    return error == ENOENT ? 0 : error;
}

int file_make_text_link(const char *directory, const char *name, const char *text)
{
    return error_of(symlink(text, name_path(directory, name).text));
}

int file_make_text_file(const char *directory, const char *name, const char *text)
{
    const name_path path(directory, name);
    const int file = open(path.text, O_WRONLY | O_CREAT | O_EXCL | O_DSYNC | O_CLOEXEC, 0600);
    if (file < 0)
        return errno;
    const auto length = static_cast<ssize_t>(strlen(text));
    errno = ENOSPC;   // for a short write
    const int error = close_after(write(file, text, strlen(text)) == length ? 0 : errno, file);
    if (error != 0)
        unlinkat(AT_FDCWD, path.text, 0);   // an empty one that stays means nothing
    return error;
}

int file_make_empty(const char *directory, const char *name)
{
    return error_of(mknod(name_path(directory, name).text, S_IFREG | 0600, 0));
}

int file_read_text(const char *directory, const char *name, char (&text)[TEXT_ROOM])
{
    const name_path path(directory, name);
    struct stat status;
    memset(text, 0, sizeof text);
    if (lstat(path.text, &status) != 0)
        return errno;
    if (S_ISLNK(status.st_mode))
        return error_of(readlink(path.text, text, sizeof text - 1));
    text[0] = '?';
    if (!S_ISREG(status.st_mode) || status.st_size >= int64_t{TEXT_ROOM})
        return 0;
    text[0] = '\0';
    const int file = open(path.text, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    return file < 0 ? errno : close_after(error_of(read(file, text, sizeof text - 1)), file);
}

int file_flush_directory(const char *directory)
{
    const int file = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (file < 0)
        return errno;
    const int error = close_after(error_of(fsync(file)), file);
    return error == EINVAL ? 0 : error;   // there is nothing to flush
}

file_system file_system_of(const char *directory)
{
    constexpr struct {
        uint32_t type;
        bool is_ordered;
    } sound[] = {
        {0x0000EF53, true},    // ext2, ext3, ext4
        {0x58465342, true},    // xfs
        {0x01021994, true},    // tmpfs
        {0x9123683E, false},   // btrfs
        {0xF2F52010, false},   // f2fs
        {0x24051905, false},   // ubifs
    };
    file_system found;
    struct statfs status;
    if (statfs(directory, &status) != 0)
        return found;
    for (const auto &known : sound) {
        if (known.type == static_cast<uint32_t>(status.f_type))
            found = {true, known.is_ordered};
    }
    found.block_size = static_cast<uint64_t>(status.f_bsize);
    found.blocks_left = status.f_blocks == 0 ? UINT64_MAX : status.f_bavail;
    found.files_left = status.f_files == 0 ? UINT64_MAX : status.f_ffree;
    return found;
}
