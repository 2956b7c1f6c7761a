#include "vorn/change.h"

#include "FileBackend/vorn-backend/cipher.h"
#include "vorn/files.h"

namespace {

file_id teller_of(const sign &made)
{
    return made.grows ? HEADER : made.last;
}

// Whether the kept blocks fit beside the new ones.
bool has_room(const write_change &change, const file_system &system)
{
    constexpr uint32_t slack = 4096;   // of a file, at its end and for its inode
    const sign &made = change.made;
    const uint64_t count = uint64_t{made.last} - made.first + (made.grows ? 0 : 1);
    const uint64_t bytes = count * (file_length(change.space->header.block_size) + slack);
    return bytes <= system.bytes_left && count <= system.files_left;
}

// Drops the kept versions before `end`, and then the sign. What stays is dropped by the
// next load.
bool drop_all(const write_change &change, uint32_t end)
{
    const bool keeps_all = change.made.kind == sign::WRITE;
    return (!keeps_all || vorn_clear_range(*change.space, KEPT | change.made.first, KEPT | end)) &&
           vorn_clear(*change.space, SIGN);
}

bool is_grave(int error)
{
    return error == EIO || error == ENOSPC || error == EDQUOT || error == ENOMEM || error == EEXIST;
}

enum class keeping { DONE, REFUSED, NO_LINKS };

// Gives an object its second name.
keeping keep(write_change *change, file_id id, file_id kept)
{
    const data_space &space = *change->space;
    int error = vorn_file_do(name_call::LINK, space, id, kept);
    if (error == ENOENT && vorn_file_do(name_call::LSTAT, space, id) != ENOENT)
        return keeping::NO_LINKS;
    if (error == ENOENT || error == EEXIST) {
        // What stands there belongs to no sign. It goes, also where the object is missing.
        change->reason = vorn_file_do(name_call::UNLINK, space, kept);
        if (change->reason != 0) {
            vorn_report("unlink", space, kept, change->reason);
            return keeping::REFUSED;
        }
        error = error == ENOENT ? 0 : vorn_file_do(name_call::LINK, space, id, kept);
    }
    if (!is_grave(error))
        return error == 0 ? keeping::DONE : keeping::NO_LINKS;
    change->reason = error;
    vorn_report("link", space, kept, error);
    return keeping::REFUSED;
}

// Keeps the counted blocks of the range, and last the teller; or nothing.
keeping keep_all(write_change *change)
{
    for (uint32_t i = change->made.first; i <= change->made.last; ++i) {
        const file_id id = i < change->made.last ? i : teller_of(change->made);
        const keeping kept = keep(change, id, KEPT | i);
        if (kept == keeping::DONE)
            continue;
        if (drop_all(*change, i))
            return kept;
        change->reason = change->reason != 0 ? change->reason : errno;
        return keeping::REFUSED;
    }
    return keeping::DONE;
}

bool make_sign(write_change *change)
{
    if (vorn_make_sign(*change->space, &change->made) == 0)
        return true;
    change->reason = errno;
    return false;
}

// Makes sure that no cut takes back the blocks that were stored, though the call did
// not come to its end. Returns false when the next load takes them back.
bool commit(write_change *change)
{
    // Without the teller's kept version, the next load goes on from what is there.
    const file_id kept = KEPT | change->made.last;
    if (!vorn_clear(*change->space, kept))
        return false;
    if (vorn_flush(*change->space) == 0)
        return true;
    const int error = vorn_file_do(name_call::LINK, *change->space, teller_of(change->made), kept);
    if (error != 0)
        vorn_report("link", *change->space, kept, error);
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
    if (!make_sign(change))
        return false;
    const keeping kept = made.kind == sign::WRITE ? keep_all(change) : keeping::DONE;
    if (kept == keeping::NO_LINKS)
        made.kind = sign::EACH;
    if (kept == keeping::REFUSED || (kept == keeping::NO_LINKS && !make_sign(change)))
        return false;
    if (system.is_ordered || made.kind == sign::IMPOSSIBLE || vorn_flush(space) == 0)
        return true;
    change->reason = errno;
    (void)drop_all(*change, made.last + 1);
    return false;
}

void vorn_take_back(write_change *change, file_id id, file_id kept, bool has_remains)
{
    const data_space &space = *change->space;
    const bool stays = has_remains && !vorn_clear(space, id);
    change->lost = change->lost || stays;
    if (stays || kept == 0 || change->made.kind == sign::IMPOSSIBLE)
        return;
    const bool is_linked = change->made.kind == sign::WRITE;
    int error = is_linked ? vorn_file_do(name_call::LINK, space, kept, id) : vorn_file_do(name_call::LSTAT, space, id);
    if (!is_linked)   // rename would replace what stands there
        error = error == ENOENT ? vorn_file_do(name_call::RENAME, space, kept, id) : error == 0 ? EEXIST : error;
    if (error == 0)
        return;
    change->lost = true;
    vorn_report(is_linked ? "link" : "rename", space, kept, error);
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
