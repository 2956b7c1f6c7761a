#define OPERATION "vorn_remove"

#include <algorithm>

#include "log.h"
#include "vorn.h"
#include "vorn/files.h"

// Deletes the blocks that the header counts. Returns the number of the first one that
// stays.
static uint32_t remove_counted_blocks(data_space *space, uint32_t count)
{
    uint32_t stays = count;
    for (uint32_t i = 0; i < count; ++i) {
        const int32_t status = backend_remove_alias(vorn_name(space, i));
        if (status != 0)
            LOG_WARNING("backend_remove_alias for %s failed (%d)", space->name, status);
        if (status != 0 && status != BACKEND_ERR_ALIAS_STATE)
            stays = std::min(stays, i);
    }
    return stays;
}

// Without a header the number of blocks is not known: they are found by their
// consecutive numbers. Returns the number at which that ends.
static uint32_t remove_found_blocks(data_space *space)
{
    uint32_t index = 0;
    while (index < BLOCK_LIMIT && backend_remove_alias(vorn_name(space, index)) == 0)
        ++index;
    return index;
}

static int32_t remove_header(data_space *space)
{
    const int32_t status = backend_remove_alias(vorn_name(space, HEADER));
    return status == 0 ? 0 : WARNED(-1, errno, "backend_remove_alias failed (%d)", status);
}

static int32_t remove_objects(data_space *space, bool has_header)
{
    const sign &standing = space->standing;
    const bool can_sign = standing.kind != sign::IMPOSSIBLE;
    const uint32_t counted = has_header ? vorn_block_count(space->header) : 0;
    uint32_t end = counted;
    // Blocks behind the counted ones are rare. Without a header, there is nothing else.
    const bool knows_end = can_sign && (vorn_find_end(space, &end) || has_header);
    // A removal goes on without a sign where none can be made.
    sign made = {sign::REMOVAL, 0, end};
    const bool has_sign = knows_end && vorn_make_lone_sign(space, &made) == 0 && made.kind == sign::REMOVAL;
    const uint32_t stays = has_header ? remove_counted_blocks(space, counted) : remove_found_blocks(space);
    bool all_gone = stays >= end || vorn_clear_range(space, stays, end);
    const int32_t removed = remove_header(space);
    const int reason = errno;
    if (removed == 0 && (standing.kind == sign::WRITE || standing.kind == sign::EACH))
        all_gone &= vorn_clear_range(space, KEPT | standing.first, KEPT | (standing.last + 1));
    const bool is_over = removed == 0 && all_gone && can_sign && standing.kind != sign::FOREIGN;
    // Where the sign stays, the next load drops it.
    if (is_over)
        (void)(vorn_clear(space, NEXT_SIGN) && vorn_clear(space, SIGN));
    else if (removed != 0 && has_sign)
        vorn_clear(space, SIGN);
    return fail(removed, removed == 0 ? 0 : reason);
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
