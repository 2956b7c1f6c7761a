#include "log.h"
#include "vorn/change.h"
#include "vorn/clear.h"

outcome vorn_update_data(write_change *change, const object_name &name, const object_name *kept, backend_buffer bytes)
{
    const bool is_moved = kept != nullptr && change->made.kind == sign::EACH;
    const outcome removed = backend_remove_alias(name.text, is_moved ? kept->text : nullptr);
    if (removed.status == BACKEND_ERR_ALIAS_STATE)
        LOG_WARNING("Try to write the end of data space");
    else if (removed.status != 0)
        return FAILED(removed.status, removed.reason, "backend_remove_alias for %s failed (%d)", name.text,
                      removed.status);
    const outcome saved = backend_save_data(name.text, bytes);
    if (saved.status != 0) {
        LOG_ERROR("backend_save_data for %s failed (%d)", name.text, saved.status);
        // Nothing is kept of what did not exist.
        vorn_take_back(change, name, removed.status == 0 ? kept : nullptr, saved);
    } else if (is_moved && !vorn_clear(*change->space, *kept)) {
        change->lost = true;
    }
    return saved;
}
