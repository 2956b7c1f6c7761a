#define OPERATION "vorn_create"

#include <cstring>

#include "log.h"
#include "vorn.h"
#include "vorn/change.h"
#include "vorn/files.h"

// Makes the creation's sign. None is made where something stands at the header's
// name: the save will be refused, and a cut before must not make it remains.
static int32_t begin_creation(space_change *creation, bool is_absent)
{
    data_space *const space = creation->space;
    if (vorn_read_sign(space) != 0)
        return -1;
    if (space->standing.kind == sign::IMPOSSIBLE)
        return 0;
    const int error = vorn_do(space, name_call::LSTAT, HEADER);
    if (error != ENOENT)
        return error == 0 ? 0 : -1;
    // A call of which nothing is left to be settled may have left its sign.
    if (is_absent && space->standing.is_ours() && vorn_clear_kept(space, space->standing) && vorn_clear(space, SIGN))
        space->standing = {};
    creation->made.kind = sign::CREATION;
    return vorn_begin(creation);
}

// Stores the header of a new data space.
static int32_t store_header(data_space *space, bool is_absent, uint32_t block_size, uint32_t flags)
{
    space->header = {block_size, flags, {}, 0, {}};
    const owned<unsigned char> copy(static_cast<unsigned char *>(malloc(HEADER_SIZE)));
    if (copy == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "malloc failed");
    memcpy(copy.get(), &space->header, HEADER_SIZE);
    space_change creation = {space, {}};
    if (begin_creation(&creation, is_absent) != 0)
        return -1;
    const int32_t status = vorn_save(&creation, HEADER, 0, {copy.get(), HEADER_SIZE});
    const int reason = errno;
    if (creation.made.kind == sign::CREATION && !creation.lost)
        vorn_clear(space, SIGN);   // where it stays, the next load drops it
    return status == 0 ? fail(0, 0)
                       : FAILED(-1, reason, "backend_save_data for %s failed (%d)", vorn_name(space, HEADER), status);
}

int32_t vorn_create(const char *label, uint32_t block_size, uint32_t flags)
{
    if (!vorn_label_is_valid(label))
        return FAILED(-EINVAL, EINVAL, "Invalid label");
    if (!vorn_block_size_is_valid(block_size))
        return FAILED(-EINVAL, EINVAL, "Invalid block size");
    data_space space;
    int32_t status = vorn_read_header(label, &space);
    int reason = status == 0 ? 0 : errno;
    if (status == 0) {
        if ((flags & VORN_CREATE_REPLACE) == 0)
            return FAILED(-EEXIST, EEXIST, "Data space with label %s alreay exists", label);
        if (space.standing.kind == sign::FOREIGN)
            return vorn_report(&space, name_call::MKNOD, SIGN, EEXIST);
        status = vorn_remove(label);
        reason = status == 0 ? ENOENT : errno;
        if (status != 0)
            LOG_WARNING("Failed to remove old data space (%d)", status);
    } else if (status != -ENODATA) {
        LOG_WARNING("Failed to read old data space (%d)", status);
    }
    status = store_header(&space, reason == ENOENT, block_size, flags);
    return status == -1 && reason != ENOENT ? fail(-1, reason) : status;
}
