/*
 * Further names for the files of objects, and what else it takes to change a data
 * space as a whole.
 *
 * A function that returns int returns 0 or an errno value, and logs nothing: its
 * caller knows which failure matters. The calls are link, rename, unlinkat, lstat,
 * symlink, readlink, mknod and statfs: the plain sequence of open, read, write,
 * close and unlink on the objects' own names stays visible. Only the flush of the
 * directory, and a text where symbolic links are refused, take open.
 */
#pragma once

#include <cstdint>

#include "FileBackend/vorn-backend/object_path.h"

/* Room for a text with its NUL. */
constexpr uint32_t TEXT_ROOM = 48;

/* What can be done with a name. */
enum class name_call {
    LINK,        // gives the file a second name
    RENAME,      // gives it another; two names of one file both stay
    UNLINK,      // a name that does not exist is a success
    MKNOD,       // makes an empty file
    SYMLINK,     // makes a symbolic link to a text
    TEXT_FILE,   // makes a file with a text, which is then on storage
    LSTAT,       // looks at the name itself, not at what a symbolic link there leads to
};

/* `other` is the second name, or the text. `inode` becomes the number of what LSTAT
 * sees; as all names are in one directory, it tells one file from another. */
int file_name_do(name_call call, const char *directory, const char *name, const char *other, uint64_t *inode = nullptr);

/* Reads a text. It is "?" where neither a symbolic link nor a small file stands. */
int file_read_text(const char *directory, const char *name, char (&text)[TEXT_ROOM]);

/* Brings what was done in the directory to storage. */
int file_flush_directory(const char *directory);

/* What the file system promises. */
struct file_system {
    bool is_sound = false;     // inode numbers and links can be relied upon
    bool is_ordered = false;   // directory operations reach storage in their order
    uint64_t bytes_left = 0;   // UINT64_MAX without a limit
    uint64_t files_left = 0;
};
file_system file_system_of(const char *directory);
