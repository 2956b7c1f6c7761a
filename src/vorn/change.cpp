#define OPERATION "vorn_write"

#include "vorn/change.h"

#include <cerrno>

#include "FileBackend/vorn-backend/cipher.h"
#include "FileBackend/vorn-backend/names.h"
#include "log.h"
#include "vorn/clear.h"

namespace {

// The end of the blocks that are kept.
uint32_t blocks_end(const sign &made)
{
    return made.grows ? made.last : made.last + 1;
}

object_name teller_of(const write_change &change)
{
    return change.made.grows ? vorn_header_name(change.space->label)
                             : vorn_block_name(change.space->label, change.made.last);
}

// Whether the kept blocks fit beside the new ones.
bool has_room(const write_change &change, const file_system &system)
{
    const uint64_t count = blocks_end(change.made) - change.made.first;
    const uint64_t length = file_length(change.space->header.block_size);
    const uint64_t blocks = (length + system.block_size - 1) / system.block_size;
    return count * blocks <= system.blocks_left && count <= system.files_left;
}

// Drops the kept versions before `end`, and then the sign. What stays is dropped by the
// next load.
bool drop_all(const write_change &change, uint32_t end)
{
    const uint32_t kept_end = change.made.kind == sign::WRITE ? end : change.made.first;
    return vorn_clear_kept(*change.space, change.made.first, kept_end) && vorn_drop_sign(*change.space);
}

// Gives an object its second name. Returns 0, or the error of link when there are no
// links here; or sets the trouble.
int keep(write_change *change, const object_name &name, const object_name &kept)
{
    const char *directory = change->space->directory.get();
    int error = file_link(directory, name.text, kept.text);
    if (error == ENOENT || error == EEXIST) {
        // What stands there belongs to no sign. It goes, also where the object is missing.
        const int stays = file_delete(directory, kept.text);
        if (stays != 0)
            change->trouble = FAILED_CALL("unlink", *change->space, kept.text, stays);
        error = stays == 0 && error == EEXIST ? file_link(directory, name.text, kept.text) : 0;
    }
    if (error == EIO || error == ENOSPC || error == EDQUOT || error == ENOMEM || error == EEXIST)
        change->trouble = FAILED_CALL("link", *change->space, kept.text, error);
    return error;
}

// Keeps the counted blocks of the range, and last the teller. Where there are no
// links, each object will be kept for itself.
bool keep_all(write_change *change)
{
    const char *label = change->space->label;
    for (uint32_t i = change->made.first; i <= change->made.last; ++i) {
        const object_name name = i < change->made.last ? vorn_block_name(label, i) : teller_of(*change);
        const int error = keep(change, name, vorn_kept_name(label, i));
        if (error == 0 && change->trouble.status == 0)
            continue;
        if (!drop_all(*change, i) && change->trouble.status == 0)
            change->trouble = {-1, error};
        change->made.kind = sign::EACH;
        if (change->trouble.status == 0)
            change->trouble = vorn_make_sign(*change->space, &change->made);
        break;
    }
    return change->trouble.status == 0;
}

// Makes sure that no cut takes back the blocks that were stored, though the call did
// not come to its end. Returns false when the next load takes them back.
bool commit(write_change *change)
{
    // Without the teller's kept version, the next load goes on from what is there.
    const object_name kept = vorn_kept_name(change->space->label, change->made.last);
    if (!vorn_clear(*change->space, kept))
        return false;
    const outcome flushed = vorn_flush_sign(*change->space);
    if (flushed.status == 0)
        return true;
    change->trouble = flushed;
    const char *directory = change->space->directory.get();
    const int error = file_link(directory, teller_of(*change).text, kept.text);
    if (error != 0)
        (void)FAILED_CALL("link", *change->space, kept.text, error);
    return false;
}

}   // namespace

bool vorn_begin_write(write_change *change, uint32_t offset, uint32_t end)
{
    const data_space &space = *change->space;
    sign &made = change->made;
    made.kind = sign::IMPOSSIBLE;
    if (space.standing.kind == sign::IMPOSSIBLE)
        return true;
    made.first = offset / space.header.block_size;
    made.grows = end > space.header.data_size;
    made.last = made.grows ? vorn_block_count(space.header) : (end - 1) / space.header.block_size;
    const file_system system = file_system_of(space.directory.get());
    made.kind = system.is_sound && has_room(*change, system) ? sign::WRITE : sign::EACH;
    change->trouble = vorn_make_sign(space, &made);
    if (change->trouble.status != 0 || (made.kind == sign::WRITE && !keep_all(change)))
        return false;
    if (system.is_ordered || made.kind == sign::IMPOSSIBLE)
        return true;
    change->trouble = vorn_flush_sign(space);
    if (change->trouble.status != 0)
        (void)drop_all(*change, made.last + 1);
    return change->trouble.status == 0;
}

void vorn_take_back(write_change *change, const object_name &name, const object_name *kept, const outcome &saved)
{
    if (saved.remains && !vorn_clear(*change->space, name)) {
        change->lost = true;
        return;
    }
    if (kept == nullptr || change->made.kind == sign::IMPOSSIBLE)
        return;
    const char *directory = change->space->directory.get();
    const bool is_linked = change->made.kind == sign::WRITE;
    int error = is_linked ? file_link(directory, kept->text, name.text) : file_look(directory, name.text);
    if (!is_linked)   // rename would replace what stands there
        error = error == ENOENT ? file_rename(directory, kept->text, name.text) : EEXIST;
    change->lost = error != 0;
    if (change->lost)
        (void)FAILED_CALL(is_linked ? "link" : "rename", *change->space, kept->text, error);
}

bool vorn_end_write(write_change *change, uint32_t blocks, bool is_complete)
{
    if (change->made.kind == sign::IMPOSSIBLE)
        return true;
    const bool is_partial = !is_complete && change->made.kind == sign::WRITE;
    if (change->lost)
        return !is_partial;   // the next load settles it
    if (is_partial && blocks > 0 && !commit(change))
        return false;
    (void)drop_all(*change, change->made.last + 1);
    return true;
}
