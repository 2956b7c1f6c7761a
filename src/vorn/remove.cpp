#define OPERATION "vorn_remove"

#include <algorithm>
#include <cerrno>

#include "FileBackend/vorn-backend/names.h"
#include "log.h"
#include "vorn.h"
#include "vorn/clear.h"

// Makes the sign of the removal of the blocks below `end`. A removal goes on without
// where that fails.
static bool begin_removal(const data_space &space, uint32_t end)
{
    sign made = {sign::REMOVAL, 0, end};
    if (vorn_make_sign(space, &made).status != 0 || made.kind != sign::REMOVAL)
        return false;
    if (file_system_of(space.directory.get()).is_ordered || vorn_flush_sign(space).status == 0)
        return true;
    (void)vorn_drop_sign(space);
    return false;
}

// Deletes the blocks that the header counts. Returns the number of the first one that
// stays.
static uint32_t remove_counted_blocks(const char *label, uint32_t count)
{
    uint32_t stays = count;
    for (uint32_t i = 0; i < count; ++i) {
        const object_name name = vorn_block_name(label, i);
        const int32_t removed = backend_remove_alias(name.text).status;
        if (removed == 0)
            continue;
        LOG_WARNING("backend_remove_alias for %s failed (%d)", name.text, removed);
        if (removed != BACKEND_ERR_ALIAS_STATE)
            stays = std::min(stays, i);
    }
    return stays;
}

// Without a header the number of blocks is not known: they are found by their
// consecutive numbers. Returns the number at which that ends.
static uint32_t remove_found_blocks(const char *label)
{
    uint32_t i = 0;
    while (i < BLOCK_LIMIT && backend_remove_alias(vorn_block_name(label, i).text).status == 0)
        ++i;
    return i;
}

static outcome remove_objects(const data_space &space, bool has_header)
{
    const sign &standing = space.standing;
    const uint32_t counted = has_header ? vorn_block_count(space.header) : 0;
    const bool can_sign = standing.kind != sign::IMPOSSIBLE;
    const uint32_t end = can_sign ? vorn_find_end(space, counted) : counted;
    const bool has_sign = can_sign && begin_removal(space, end);
    const uint32_t stays = has_header ? remove_counted_blocks(space.label, counted) : remove_found_blocks(space.label);
    bool all_gone = stays >= end || vorn_clear_blocks(space, stays, end);
    const outcome header = backend_remove_alias(vorn_header_name(space.label).text);
    if (header.status != 0)
        LOG_WARNING("backend_remove_alias failed (%d)", header.status);
    else if (standing.kind == sign::WRITE || standing.kind == sign::EACH)
        all_gone = vorn_clear_kept(space, standing.first, standing.last + 1) && all_gone;
    if (has_sign && (all_gone || header.status != 0))
        (void)vorn_drop_sign(space);   // where it stays, the next load drops it
    return header.status == 0 ? outcome{0} : outcome{-1, header.reason};
}

static outcome check_and_remove(const char *label)
{
    data_space space;
    const outcome found = vorn_read_header(label, &space);
    if (space.is_deleted)
        return {0};
    if (found.status == -EINVAL || found.status == -ENODATA)
        return FAILED(found.status, found.reason, "Failed to read header (%d)", found.status);
    if (found.status != 0)
        LOG_WARNING("Header for %s was broken (%d), however Data & Header will be removed forcely for reliability",
                    label, found.status);
    return remove_objects(space, found.status == 0);
}

int32_t vorn_remove(const char *label)
{
    return vorn_answer(check_and_remove(label));
}
