#include "vorn/change.h"

#include "FileBackend/vorn-backend/cipher.h"
#include "fail.h"
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
    return (!keeps_all || vorn_clear_range(change.space, KEPT | change.made.first, KEPT | end)) &&
           vorn_clear(change.space, SIGN);
}

// Gives an object its second name. A missing object is left out. What stands in the way
// belongs to no sign. It goes, also where the object is missing.
int keep(data_space *space, file_id id, file_id kept)
{
    const int error = vorn_try(space, name_call::LINK, id, kept);
    if (error != ENOENT && error != EEXIST)
        return error;
    const int stale = vorn_try(space, name_call::UNLINK, kept);
    return stale != 0 || error == ENOENT ? stale : vorn_try(space, name_call::LINK, id, kept);
}

// Keeps the counted blocks of the range, and last the teller; or nothing. Where links are
// refused, the sign becomes one of kind EACH. Returns 0 or -1.
int32_t keep_all(write_change *change)
{
    data_space *const space = change->space;
    sign &made = change->made;
    for (uint32_t i = made.first; i <= made.last; ++i) {
        const int error = keep(space, i < made.last ? i : teller_of(made), KEPT | i);
        if (error == 0)
            continue;
        const bool is_grave = vorn_is_grave(error);
        if (is_grave)
            vorn_report(space, name_call::LINK, KEPT | i, error);
        if (!drop_all(*change, i) || is_grave)
            return fail(-1, is_grave ? error : errno);
        made.kind = sign::EACH;
        return vorn_make_sign(space, &made);
    }
    return 0;
}

// Makes the sign, and all that stands beside it before the first change.
int32_t prepare(write_change *change, const file_system &system)
{
    sign &made = change->made;
    made.kind = system.is_sound && has_room(*change, system) ? sign::WRITE : sign::EACH;
    if (vorn_make_sign(change->space, &made) != 0 || (made.kind == sign::WRITE && keep_all(change) != 0))
        return -1;
    if (system.is_ordered || made.kind == sign::IMPOSSIBLE || vorn_flush(change->space) == 0)
        return 0;
    const int reason = errno;
    (void)drop_all(*change, made.last + 1);
    return fail(-1, reason);
}

// Makes sure that no cut takes back the blocks that were stored, though the call did
// not come to its end. Returns false when the next load takes them back.
bool commit(write_change *change)
{
    // Without the teller's kept version, the next load goes on from what is there.
    const file_id kept = KEPT | change->made.last;
    if (!vorn_clear(change->space, kept))
        return false;
    if (vorn_flush(change->space) == 0)
        return true;
    (void)vorn_do(change->space, name_call::LINK, teller_of(change->made), kept);
    return false;
}

}   // namespace

int32_t vorn_begin_write(write_change *change, uint32_t offset, uint32_t end)
{
    data_space *const space = change->space;
    const data_space_header &header = space->header;
    sign &made = change->made;
    if (space->standing.kind == sign::IMPOSSIBLE) {
        made.kind = sign::IMPOSSIBLE;
        return 0;
    }
    made.first = block_at(offset, header.block_size);
    made.grows = end > header.data_size;
    made.last = made.grows ? vorn_block_count(header) : block_at(end - 1, header.block_size);
    return prepare(change, file_system_of(space->directory.get()));
}

void vorn_take_back(write_change *change, file_id id, file_id kept, bool has_remains)
{
    const bool is_cleared = !has_remains || vorn_clear(change->space, id);
    if (is_cleared && (kept == 0 || change->made.kind == sign::IMPOSSIBLE))
        return;
    const auto call = change->made.kind == sign::WRITE ? name_call::LINK : name_call::RENAME;
    if (!is_cleared || vorn_do(change->space, call, kept, id) != 0)
        change->lost = true;
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
