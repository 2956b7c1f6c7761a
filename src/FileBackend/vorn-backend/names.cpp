// A 32-bit lstat fails on inode numbers of 64 bits, which xfs, btrfs and tmpfs
// have, and on a file from after 2038; a 32-bit statfs fails on a large disk. No
// off_t and no time leaves this file.
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64

#include "FileBackend/vorn-backend/names.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

static int look_at(const char *path, file_look *look)
{
    struct stat status;
    if (lstat(path, &status) != 0)
        return -1;
    memset(look->text, 0, sizeof look->text);
    look->inode = status.st_ino;
    look->is_file = S_ISREG(status.st_mode);
    look->is_empty = look->is_file && status.st_size == 0;
    return !S_ISLNK(status.st_mode) || readlink(path, look->text, sizeof look->text - 1) >= 0 ? 0 : -1;
}

static int flush(const char *directory)
{
    const int file = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (file < 0)
        return -1;
    const int error = fsync(file) == 0 || errno == EINVAL ? 0 : errno;   // EINVAL: there is nothing to flush
    close(file);
    errno = error;
    return error == 0 ? 0 : -1;
}

static int result_of(name_call call, const char *directory, const char *path, const char *other, file_look *look)
{
    switch (call) {
    case name_call::LINK:
        return link(path, other);
    case name_call::RENAME:
        return rename(path, other);
    case name_call::UNLINK:
        return unlinkat(AT_FDCWD, path, 0) == 0 || errno == ENOENT ? 0 : -1;
    case name_call::MKNOD:
        return mknod(path, S_IFREG | 0600, 0);
    case name_call::SYMLINK:
        return symlink(look->text, path);
    case name_call::LSTAT:
        return look_at(path, look);
    default:
        return flush(directory);
    }
}

int file_name_do(name_call call, const char *directory, const char *name, const char *other, file_look *look)
{
    char path[PATH_ROOM];
    char second[PATH_ROOM];
    if (call == name_call::LINK || call == name_call::RENAME)
        other = set_object_path(second, directory, other) == 0 ? second : "";   // an empty path is none
    if (set_object_path(path, directory, name) == 0 && result_of(call, directory, path, other, look) == 0)
        return 0;
    return errno;
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
    for (const auto &known : sound)
        if (known.type == static_cast<uint32_t>(status.f_type))
            found = {true, known.is_ordered};
    found.bytes_left = status.f_blocks == 0 ? UINT64_MAX : status.f_bavail * static_cast<uint64_t>(status.f_bsize);
    found.files_left = status.f_files == 0 ? UINT64_MAX : status.f_ffree;
    return found;
}
