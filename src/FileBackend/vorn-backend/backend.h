/*
 * The file backend: objects, each a named string of bytes, kept as encrypted
 * files in the application's data directory.
 *
 * Every operation returns a status: 0, a negative errno value, or one of the backend's
 * codes. A failure is logged when it returns, and errno holds the reason: ENOTDIR when
 * the platform has no data directory, else the system's own error or one that comes
 * next to it. An operation keeps nothing between calls, takes no locks, and asks the
 * platform for the data directory once.
 */
#pragma once

#include <cerrno>

#include "FileBackend/vorn-backend/object.h"

/*
 * Loads an object whole. With status 0, *out is a new record with at least one
 * byte; the caller frees its data and then the record. With any other status
 * *out is left as it was: BACKEND_ERR_ALIAS_STATE when the file cannot be opened,
 * -ENOMEM, or another code when its content is refused or cannot be read. The
 * reason is ENOENT only for an absent file, and EBADMSG only for refused content.
 *
 * `directory` takes over the path of the data directory. It is left alone when the
 * platform has none.
 */
int32_t file_get_data(const char *alias, backend_buffer **out, owned<char> *directory);

/*
 * Stores a new object; the bytes stay the caller's. With status 0 they have
 * reached storage. BACKEND_ERR_ALIAS_STATE when an object of that name exists,
 * which is left alone. A save that fails after it has created the file leaves it
 * there.
 */
int32_t file_save_data(const char *alias, backend_buffer bytes);

/* Whether a save that has failed so has left an unfinished file. */
inline bool file_has_remains(int32_t status, int reason)
{
    const bool is_refused = status == BACKEND_ERR_ALIAS_STATE || status == BACKEND_ERR_PATH || status == -EINVAL;
    return !is_refused && reason != ENOTDIR;
}

/* Deletes an object. BACKEND_ERR_ALIAS_STATE when there is none. */
int32_t file_remove_alias(const char *alias);

// The names under which the store knows the operations.
static constexpr auto &backend_get_data = file_get_data;
static constexpr auto &backend_save_data = file_save_data;
static constexpr auto &backend_remove_alias = file_remove_alias;
