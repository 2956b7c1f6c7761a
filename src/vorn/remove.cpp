#define OPERATION "vorn_remove"

#include <algorithm>

#include "log.h"
#include "vorn.h"
#include "vorn/change.h"
#include "vorn/files.h"

// Deletes the blocks below `count`. Without a header the number of blocks is not known:
// they are found by their consecutive numbers. Returns the number of the first one that
// stays.
static uint32_t remove_blocks(data_space *space, bool has_header, uint32_t count)
{
    uint32_t stays = count;
    for (uint32_t i = 0; i < count; ++i) {
        const int32_t status = backend_remove_alias(vorn_name(space, i));
        if (status != 0 && !has_header)
            return i;
        if (status != 0)
            LOG_WARNING("backend_remove_alias for %s failed (%d)", vorn_name(space, i), status);
        if (status != 0 && status != BACKEND_ERR_ALIAS_STATE)
            stays = std::min(stays, i);
    }
    return stays;
}

static int32_t remove_objects(data_space *space, bool has_header)
{
    const sign &standing = space->standing;
    const bool can_sign = standing.kind != sign::IMPOSSIBLE;
    const uint32_t counted = has_header ? vorn_block_count(space->header) : 0;
    // A removal before may have left a gap.
    uint32_t end = std::max(counted, std::max(standing.first, standing.last));
    // Blocks behind the counted ones are rare. Without a header, there is nothing else.
    const bool knows_end = can_sign && (vorn_find_end(space, &end) || has_header);
    // A removal goes on without a sign where none can be made.
    space_change removal = {space, {sign::REMOVAL, end}};
    const bool has_sign = knows_end && vorn_begin(&removal) == 0 && removal.made.kind == sign::REMOVAL;
    const uint32_t stays = remove_blocks(space, has_header, has_header ? counted : BLOCK_LIMIT);
    bool all_gone = vorn_clear_range(space, stays, end);
    const int32_t removed = backend_remove_alias(vorn_name(space, HEADER));
    const int reason = errno;
    if (removed != 0) {
        LOG_WARNING("backend_remove_alias failed (%d)", removed);
        if (has_sign)
            vorn_clear(space, SIGN);
        return fail(-1, reason);
    }
    all_gone &= !standing.is_ours() || vorn_clear_kept(space, standing);
    if (all_gone && can_sign && standing.kind != sign::FOREIGN)
        (void)(vorn_clear(space, NEXT_SIGN) && vorn_clear(space, SIGN));   // where it stays, the next load drops it
    return fail(0, 0);
}

int32_t vorn_remove(const char *label)
{
    data_space space;
    const int32_t status = vorn_read_header(label, &space);
    if (space.is_deleted)
        return fail(0, 0);
    if (status == -EINVAL || status == -ENODATA)
        return FAILED(status, errno, "Failed to read header (%d)", status);
    if (status != 0) {
        LOG_WARNING("Header for %s was broken (%d), however Data & Header will be removed forcely for reliability",
                    label, status);
        (void)vorn_read_sign(&space);   // again: one that stays would bring the data space back
    }
    return remove_objects(&space, status == 0);
}
