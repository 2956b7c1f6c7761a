/*
 * The file backend: objects, each a named string of bytes, kept as encrypted
 * files in the application's data directory.
 *
 * Every operation returns 0, a negative errno value, or one of the codes below,
 * and has logged what went wrong. It keeps nothing between calls, takes no
 * locks, and asks the platform for the data directory once.
 */
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "FileBackend/vorn-backend/side_file.h"

// Signed, as they travel and as they are printed.
constexpr int32_t BACKEND_ERR_CIPHER = static_cast<int32_t>(0xFE1F00FF);
constexpr int32_t BACKEND_ERR_DIGEST = static_cast<int32_t>(0xFE1F0007);
constexpr int32_t BACKEND_ERR_PATH = static_cast<int32_t>(0xFE1F000A);
constexpr int32_t BACKEND_ERR_ALIAS_STATE = static_cast<int32_t>(0xFE1F000C);
constexpr int32_t BACKEND_ERR_INTEGRITY = static_cast<int32_t>(0xFE1F000D);
constexpr int32_t BACKEND_ERR_IO = static_cast<int32_t>(0xFE1F0011);

struct backend_buffer {
    unsigned char *data;
    uint32_t size;
};

/* Owner of what a load hands out. */
struct free_loaded_object {
    void operator()(backend_buffer *record) const
    {
        free(record->data);
        free(record);
    }
};
using loaded_object = std::unique_ptr<backend_buffer, free_loaded_object>;

/* Room for an object's name with its NUL. */
constexpr uint32_t ALIAS_ROOM = 64;

/* Objects of which nobody knows whether they exist: number `first` and those
 * after it, each named by `name`. A deletion takes them along because it has the
 * data directory at hand, which it asks for once. */
struct backend_leftovers {
    void (*name)(char (&alias)[ALIAS_ROOM], const char *label, int32_t index);
    const char *label;
    int32_t first;
};

/*
 * Loads an object whole. On 0, *out is a new record with at least one byte; the
 * caller frees its data and then the record. On any other status *out is left
 * as it was: BACKEND_ERR_ALIAS_STATE when the file cannot be opened, -ENOMEM,
 * or another code when its content is refused or cannot be read.
 *
 * A change of the object that was interrupted is settled here: its previous
 * content comes back, or it does not exist.
 */
int32_t file_get_data(const char *alias, backend_buffer **out);

/*
 * Stores a new object; the bytes stay the caller's. On 0 they have reached
 * storage. BACKEND_ERR_ALIAS_STATE when an object of that name exists, which is
 * left alone. A save that fails after it has created the file leaves it there
 * until the end of the change of which it is a part.
 */
int32_t file_save_data(const char *alias, backend_buffer bytes, object_change *change);

/*
 * Deletes an object. BACKEND_ERR_ALIAS_STATE when there is none. As a part of a
 * change, it sets aside what the object holds. Otherwise the leftovers, up to the
 * first that does not exist, are deleted before it, and it stays when one of them
 * cannot be deleted.
 */
int32_t file_remove_alias(const char *alias, object_change *change);
int32_t file_remove_alias(const char *alias, const backend_leftovers *leftovers = nullptr);

// The names under which the store knows the operations.

inline int32_t backend_get_data(const char *alias, backend_buffer **out)
{
    return file_get_data(alias, out);
}

inline int32_t backend_save_data(const char *alias, backend_buffer bytes, object_change *change)
{
    return file_save_data(alias, bytes, change);
}

inline int32_t backend_remove_alias(const char *alias, object_change *change)
{
    return file_remove_alias(alias, change);
}

inline int32_t backend_remove_alias(const char *alias, const backend_leftovers *leftovers = nullptr)
{
    return file_remove_alias(alias, leftovers);
}
