/*
 * The file backend: objects, each a named string of bytes, kept as encrypted
 * files in the application's data directory.
 *
 * Every operation has logged what went wrong when it returns. It keeps nothing
 * between calls, takes no locks, and asks the platform for the data directory
 * once.
 */
#pragma once

#include "FileBackend/vorn-backend/object.h"
#include "owned.h"

/*
 * Loads an object whole. With status 0, *out is a new record with at least one
 * byte; the caller frees its data and then the record. With any other status
 * *out is left as it was: BACKEND_ERR_ALIAS_STATE when the file cannot be opened,
 * -ENOMEM, or another code when its content is refused or cannot be read. The
 * reason is ENOENT only for an absent file, and EBADMSG only for refused content.
 *
 * `directory`, where it is given, takes over the path of the data directory. It
 * stays empty when the platform has none.
 */
outcome file_get_data(const char *alias, backend_buffer **out, owned<char> *directory = nullptr);

/*
 * Stores a new object; the bytes stay the caller's. With status 0 they have
 * reached storage. BACKEND_ERR_ALIAS_STATE when an object of that name exists,
 * which is left alone. A save that fails after it has created the file leaves it
 * there, and says so in `remains`.
 */
outcome file_save_data(const char *alias, backend_buffer bytes);

/*
 * Deletes an object. BACKEND_ERR_ALIAS_STATE when there is none. Where `kept` is
 * given, the object's file takes that name instead of going.
 */
outcome file_remove_alias(const char *alias, const char *kept = nullptr);

// The names under which the store knows the operations.

inline outcome backend_get_data(const char *alias, backend_buffer **out, owned<char> *directory = nullptr)
{
    return file_get_data(alias, out, directory);
}

inline outcome backend_save_data(const char *alias, backend_buffer bytes)
{
    return file_save_data(alias, bytes);
}

inline outcome backend_remove_alias(const char *alias, const char *kept = nullptr)
{
    return file_remove_alias(alias, kept);
}
