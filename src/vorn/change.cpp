#define OPERATION "vorn_update_data"

#include "vorn/change.h"

#include "FileBackend/vorn-backend/cipher.h"
#include "log.h"
#include "vorn/files.h"

// Whether the kept blocks fit beside the new ones.
static bool has_room(const sign &made, uint32_t block_size, const file_system &system)
{
    const uint64_t count = uint64_t{made.last} - made.first + (made.grows ? 0 : 1);
    // A file takes more than its length: what is left of its last page, and its inode.
    const uint64_t bytes = count * (uint64_t{block_size} + DIGEST_SIZE + CIPHER_BLOCK + 4096);
    return bytes <= system.bytes_left && count <= system.files_left;
}

// Drops the kept versions before `end`, and then the sign. What stays is dropped by the
// next load.
static bool drop_all(const space_change &change, uint32_t end)
{
    const sign &made = change.made;
    const bool all = made.kind != sign::WRITE || vorn_clear_range(change.space, KEPT | made.first, KEPT | end);
    return all && vorn_clear(change.space, SIGN);
}

// Gives an object its second name. What stands in the way belongs to no sign. It goes,
// also where the object is missing. Returns 0, ENOENT for a missing object, or another
// errno value.
static int keep(data_space *space, file_id id, file_id kept)
{
    const int error = vorn_try(space, name_call::LINK, id, kept);
    if (error != ENOENT && error != EEXIST)
        return error;
    const int stale = vorn_try(space, name_call::UNLINK, kept);
    return stale != 0 ? stale : error == ENOENT ? ENOENT : vorn_try(space, name_call::LINK, id, kept);
}

// Keeps the counted blocks of the range, and last the teller; or nothing. Where links are
// refused or the teller is missing, the sign becomes one of kind EACH. Returns 0 or -1.
static int32_t keep_all(space_change *change)
{
    data_space *const space = change->space;
    sign &made = change->made;
    for (uint32_t i = made.first; i <= made.last; ++i) {
        const int error = keep(space, i == made.last && made.grows ? HEADER : i, KEPT | i);
        if (error == 0 || (error == ENOENT && i != made.last))
            continue;
        const bool is_dropped = drop_all(*change, i);
        if (vorn_is_grave(error))
            return vorn_report(space, name_call::LINK, KEPT | i, error);
        if (!is_dropped)
            return -1;
        made.kind = sign::EACH;
        return vorn_make_sign(space, &made);
    }
    return 0;
}

// Makes sure that no cut takes back the blocks that were stored, though the call did
// not come to its end. Returns false when the next load takes them back.
static bool commit(space_change *change)
{
    // Without the teller's kept version, the next load goes on from what is there.
    const sign &made = change->made;
    const file_id kept = KEPT | made.last;
    if (!vorn_clear(change->space, kept))
        return false;
    if (vorn_do(change->space, name_call::FSYNC, SIGN) == 0)
        return true;
    (void)vorn_do(change->space, name_call::LINK, made.grows ? HEADER : made.last, kept);
    return false;
}

// Where each object is kept for itself, its deletion is a rename.
static int32_t remove_or_move(const space_change &change, file_id id, file_id kept)
{
    if (change.made.kind != sign::EACH || kept == 0)
        return backend_remove_alias(vorn_name(change.space, id));
    const int error = vorn_do(change.space, name_call::RENAME, id, kept);
    return error == 0 ? 0 : error == ENOENT ? BACKEND_ERR_ALIAS_STATE : BACKEND_ERR_PATH;
}

int32_t vorn_begin(space_change *change)
{
    data_space *const space = change->space;
    sign &made = change->made;
    const file_system system = file_system_of(space->directory.get());
    if (made.kind == sign::WRITE && !(system.is_sound && has_room(made, space->header.block_size, system)))
        made.kind = sign::EACH;
    if (vorn_make_sign(space, &made) != 0 || (made.kind == sign::WRITE && keep_all(change) != 0))
        return -1;
    if (system.is_ordered || made.kind == sign::IMPOSSIBLE || vorn_do(space, name_call::FSYNC, SIGN) == 0)
        return 0;
    const int reason = errno;
    (void)drop_all(*change, made.last + 1);
    return fail(-1, reason);
}

int32_t vorn_save(space_change *change, file_id id, file_id kept, backend_buffer bytes)
{
    data_space *const space = change->space;
    const int32_t status = backend_save_data(vorn_name(space, id), bytes);
    const int reason = errno;
    if (status == 0)
        return 0;
    const bool is_cleared = !file_has_remains(status, reason) || vorn_clear(space, id);
    const bool goes_back = kept != 0 && change->made.kind != sign::IMPOSSIBLE;
    const auto call = change->made.kind == sign::WRITE ? name_call::LINK : name_call::RENAME;
    change->lost |= !is_cleared || (goes_back && vorn_do(space, call, kept, id) != 0);
    return fail(status, reason);
}

int32_t vorn_update_data(space_change *change, file_id id, file_id kept, backend_buffer bytes)
{
    data_space *const space = change->space;
    const int32_t removed = remove_or_move(*change, id, kept);
    if (removed == BACKEND_ERR_ALIAS_STATE)
        LOG_WARNING("Try to write the end of data space");
    else if (removed != 0)
        return FAILED(removed, errno, "backend_remove_alias for %s failed (%d)", vorn_name(space, id), removed);
    // Nothing is kept of what did not exist.
    const int32_t saved = vorn_save(change, id, removed == 0 ? kept : 0, bytes);
    if (saved != 0)
        return FAILED(saved, errno, "backend_save_data for %s failed (%d)", vorn_name(space, id), saved);
    if (kept != 0 && change->made.kind == sign::EACH)
        change->lost |= !vorn_clear(space, kept);
    return 0;
}

bool vorn_end_write(space_change *change, bool is_complete)
{
    if (change->made.kind == sign::IMPOSSIBLE)
        return true;
    const bool is_partial = !is_complete && change->made.kind == sign::WRITE;
    if (change->lost || (is_partial && !commit(change)))
        return !is_partial;   // the next load settles it
    (void)drop_all(*change, change->made.last + 1);
    return true;
}
