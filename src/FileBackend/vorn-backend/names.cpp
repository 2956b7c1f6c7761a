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

// Closes, and reports the error from before.
static int close_after(int error, int file)
{
    close(file);
    return error;
}

static int make_text_file(const char *path, const char *text)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_DSYNC | O_CLOEXEC, 0600);
    if (file < 0)
        return errno;
    const auto length = static_cast<ssize_t>(strlen(text));
    errno = ENOSPC;   // for a short write
    const int error = close_after(write(file, text, strlen(text)) == length ? 0 : errno, file);
    if (error != 0)
        unlinkat(AT_FDCWD, path, 0);   // where it stays, the next one takes its place
    return error;
}

static int look(const char *path, uint64_t *inode)
{
    struct stat status;
    if (lstat(path, &status) != 0)
        return -1;
    if (inode != nullptr)
        *inode = status.st_ino;
    return 0;
}

static int result_of(name_call call, const char *path, const char *second, const char *text, uint64_t *inode)
{
    switch (call) {
    case name_call::LINK:
        return link(path, second);
    case name_call::RENAME:
        return rename(path, second);
    case name_call::UNLINK:
        return unlinkat(AT_FDCWD, path, 0);
    case name_call::MKNOD:
        return mknod(path, S_IFREG | 0600, 0);
    case name_call::SYMLINK:
        return symlink(text, path);
    case name_call::TEXT_FILE:
        errno = make_text_file(path, text);
        return errno == 0 ? 0 : -1;
    case name_call::LSTAT:
        break;
    }
    return look(path, inode);
}

int file_name_do(name_call call, const char *directory, const char *name, const char *other, uint64_t *inode)
{
    char path[PATH_ROOM];
    char second[PATH_ROOM];
    const bool has_second = call == name_call::LINK || call == name_call::RENAME;
    const bool fits =
        set_object_path(path, directory, name) && (!has_second || set_object_path(second, directory, other));
    if (fits && result_of(call, path, second, other, inode) == 0)
        return 0;
    return call == name_call::UNLINK && errno == ENOENT ? 0 : errno;
}

int file_read_text(const char *directory, const char *name, char (&text)[TEXT_ROOM])
{
    char path[PATH_ROOM];
    struct stat status;
    memset(text, 0, sizeof text);
    if (!set_object_path(path, directory, name) || lstat(path, &status) != 0)
        return errno;
    if (S_ISLNK(status.st_mode))
        return readlink(path, text, sizeof text - 1) < 0 ? errno : 0;
    text[0] = '?';
    if (!S_ISREG(status.st_mode) || status.st_size >= int64_t{TEXT_ROOM})
        return 0;
    text[0] = '\0';
    const int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        return errno;
    return close_after(read(file, text, sizeof text - 1) < 0 ? errno : 0, file);
}

int file_flush_directory(const char *directory)
{
    const int file = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (file < 0)
        return errno;
    const int error = close_after(fsync(file) < 0 ? errno : 0, file);
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
    found.bytes_left = status.f_blocks == 0 ? UINT64_MAX : status.f_bavail * static_cast<uint64_t>(status.f_bsize);
    found.files_left = status.f_files == 0 ? UINT64_MAX : status.f_ffree;
    return found;
}
