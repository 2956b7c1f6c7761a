#define OPERATION "vorn_update_data"

#include "log.h"
#include "vorn/change.h"
#include "vorn/files.h"

// Where each object is kept for itself, its deletion is a rename.
static int32_t remove_or_move(const write_change &change, const char *name, file_id id, file_id kept)
{
    if (change.made.kind != sign::EACH || kept == 0)
        return backend_remove_alias(name);
    const int error = vorn_file_do(name_call::RENAME, *change.space, id, kept);
    if (error == 0)
        return 0;
    vorn_report("rename", *change.space, error == ENOENT ? id : kept, error);
    return error == ENOENT ? BACKEND_ERR_ALIAS_STATE : BACKEND_ERR_PATH;
}

int32_t vorn_update_data(write_change *change, const char *name, file_id id, file_id kept, backend_buffer bytes)
{
    const int32_t removed = remove_or_move(*change, name, id, kept);
    if (removed == BACKEND_ERR_ALIAS_STATE)
        LOG_WARNING("Try to write the end of data space");
    else if (removed != 0)
        return FAILED(removed, errno, "backend_remove_alias for %s failed (%d)", name, removed);
    const int32_t saved = backend_save_data(name, bytes);
    const int reason = errno;
    if (saved != 0) {
        LOG_ERROR("backend_save_data for %s failed (%d)", name, saved);
        // Nothing is kept of what did not exist.
        vorn_take_back(change, id, removed == 0 ? kept : 0, file_has_remains(saved, reason));
    } else if (kept != 0 && change->made.kind == sign::EACH) {
        change->lost = !vorn_clear(*change->space, kept) || change->lost;
    }
    return fail(saved, reason);
}
