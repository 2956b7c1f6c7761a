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

/* Room for a text with its NUL. */
constexpr uint32_t TEXT_ROOM = 48;

/* Which file stands at a name. */
struct file_identity {
    uint64_t device;
    uint64_t inode;
};

bool file_name_fits(const char *directory, const char *name);

/* Looks at a name itself, not at what a symbolic link there leads to. */
int file_look(const char *directory, const char *name, file_identity *identity = nullptr);

int file_link(const char *directory, const char *name, const char *second);

/* Where both are names of one file, both stay. */
int file_rename(const char *directory, const char *name, const char *second);

/* Deletes a name. A name that does not exist is a success. */
int file_delete(const char *directory, const char *name);

/* A short text is the target of a symbolic link, or the content of a file, which is
 * then on storage. A read gives "?" for what stands there and is neither. */
int file_make_text_link(const char *directory, const char *name, const char *text);
int file_make_text_file(const char *directory, const char *name, const char *text);
int file_make_empty(const char *directory, const char *name);
int file_read_text(const char *directory, const char *name, char (&text)[TEXT_ROOM]);

/* Brings what was done in the directory to storage. */
int file_flush_directory(const char *directory);

/* What the file system promises. */
struct file_system {
    bool is_sound = false;     // inode numbers and links can be relied upon
    bool is_ordered = false;   // directory operations reach storage in their order
    uint64_t block_size = 1;
    uint64_t blocks_left = 0;   // UINT64_MAX without a limit
    uint64_t files_left = 0;
};
file_system file_system_of(const char *directory);
