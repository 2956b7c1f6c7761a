/*
 * Further names for the files of objects, and what else it takes to change a data
 * space as a whole.
 *
 * Nothing is logged: the caller knows which failure matters. The calls are link, rename,
 * unlinkat, lstat, symlink, readlink, mknod and statfs: the plain sequence of open, read,
 * write, close and unlink on the objects' own names stays visible. Only the flush of the
 * directory takes open.
 */
#pragma once

#include "FileBackend/vorn-backend/object_path.h"

/* Room for the text of a symbolic link with its NUL. */
constexpr uint32_t TEXT_ROOM = 48;

/* What can be done with a name. */
enum class name_call {
    LINK,      // gives the file a second name
    RENAME,    // gives it another; two names of one file both stay
    UNLINK,    // a name that does not exist is a success
    MKNOD,     // makes an empty file
    SYMLINK,   // makes a symbolic link to a text
    LSTAT,     // looks at the name itself, not at what a symbolic link there leads to
    FSYNC,     // brings what was done with all names of the directory to storage
};

/* What LSTAT sees. As all names are in one directory, the inode's number tells one file
 * from another. */
struct file_look {
    uint64_t inode = 0;
    bool is_file = false;
    bool is_empty = false;
    char text[TEXT_ROOM] = "";   // of a symbolic link, also of one that SYMLINK makes
};

/* `other` is the second name. Returns 0 or an errno value. */
int file_name_do(name_call call, const char *directory, const char *name, const char *other, file_look *look);

/* What the file system promises. */
struct file_system {
    bool is_sound = false;     // inode numbers and links can be relied upon
    bool is_ordered = false;   // directory operations reach storage in their order
    uint64_t bytes_left = 0;   // UINT64_MAX without a limit
    uint64_t files_left = 0;
};
file_system file_system_of(const char *directory);
