#define OPERATION "vorn_update_data"

#include "log.h"
#include "vorn/change.h"
#include "vorn/files.h"

// Where each object is kept for itself, its deletion is a rename.
static int32_t remove_or_move(const write_change &change, file_id id, file_id kept)
{
    if (change.made.kind != sign::EACH || kept == 0)
        return backend_remove_alias(vorn_name(change.space, id));
    const int error = vorn_do(change.space, name_call::RENAME, id, kept);
    if (error == 0)
        return 0;
    return error == ENOENT ? BACKEND_ERR_ALIAS_STATE : BACKEND_ERR_PATH;
}

int32_t vorn_update_data(write_change *change, file_id id, file_id kept, backend_buffer bytes)
{
    data_space *const space = change->space;
    const int32_t removed = remove_or_move(*change, id, kept);
    if (removed == BACKEND_ERR_ALIAS_STATE)
        LOG_WARNING("Try to write the end of data space");
    else if (removed != 0)
        return FAILED(removed, errno, "backend_remove_alias for %s failed (%d)", vorn_name(space, id), removed);
    const int32_t saved = backend_save_data(vorn_name(space, id), bytes);
    const int reason = errno;
    if (saved != 0) {
        LOG_ERROR("backend_save_data for %s failed (%d)", space->name, saved);
        // Nothing is kept of what did not exist.
        vorn_take_back(change, id, removed == 0 ? kept : 0, file_has_remains(saved, reason));
    } else if (kept != 0 && change->made.kind == sign::EACH) {
        change->lost |= !vorn_clear(space, kept);
    }
    return fail(saved, reason);
}
