#define OPERATION "vorn_read_header"

#include "log.h"
#include "vorn/files.h"

// A call to be settled, and what settling it has found out.
struct settling {
    data_space *space;
    int32_t status;            // with which the header was loaded
    int fault = 0;             // why it cannot be settled now
    bool is_over = false;      // the teller is kept no more, or not yet: all is changed, or nothing
    bool all_cleared = true;   // else the next load tries again
};

// Whether a file stands at the name.
static bool stands(settling *call, file_id id)
{
    const int error = vorn_do(call->space, name_call::LSTAT, id);
    call->fault = error == ENOENT ? 0 : error;
    return error == 0;
}

// Whether the object loads well.
static bool is_good(settling *call, file_id id)
{
    const int32_t status = vorn_load(call->space, id);
    if (status != 0 && vorn_is_fault(errno))
        call->fault = errno;
    return status == 0;
}

// Ends what is kept of an object: it takes its name back where it must, or it goes.
static void settle_object(settling *call, file_id id, file_id kept, bool is_complete)
{
    if (!stands(call, kept))
        return;
    // Where nothing is changed yet, what stands at the kept name may be stale.
    const bool is_done = call->is_over || (is_complete && is_good(call, id));
    if (!is_done && call->fault == 0 && is_good(call, kept)) {
        call->fault = vorn_do(call->space, name_call::RENAME, kept, id);
        if (call->fault == 0)
            LOG_WARNING("Going back to the previous version of %s", vorn_name(call->space, id));
    }
    // rename leaves two names of one file.
    if (call->fault == 0)
        call->all_cleared &= vorn_clear(call->space, kept);
}

// Finds the header that will stand, which is the kept one where none is good at its own
// name. Returns false where there is none, and where the sign's range shows that it is
// not ours.
static bool find_header(settling *call)
{
    sign &is = call->space->standing;
    if (call->status != 0 && (!is.grows || vorn_load_header(call->space, KEPT | is.last) != 0)) {
        call->fault = is.grows && vorn_is_fault(errno) ? errno : 0;
        return false;
    }
    const uint32_t count = vorn_block_count(call->space->header);
    const bool is_ours = is.first <= is.last && (is.grows ? is.last <= count : is.last < count);
    if (!is_ours)
        is.kind = sign::FOREIGN;
    return is_ours;
}

// A write is complete when the teller has been replaced: it is good and another file
// than the one that was kept, or nothing is kept of it any more.
static bool judge(settling *call)
{
    const sign &is = call->space->standing;
    const file_id teller = is.grows ? HEADER : is.last;
    call->is_over = is.kind == sign::WRITE && !stands(call, KEPT | is.last);
    if (call->is_over || is.kind == sign::EACH)
        return true;
    const uint64_t kept = call->space->look.inode;
    if (!stands(call, teller) || call->space->look.inode == kept)
        return false;
    return is.grows ? call->status == 0 : is_good(call, teller);
}

// Returns false where nothing is to be settled.
static bool settle_write(settling *call)
{
    if (!find_header(call))
        return false;
    const sign &is = call->space->standing;
    const bool is_complete = judge(call);
    for (uint32_t i = is.first; i <= is.last && call->fault == 0; ++i)
        settle_object(call, is.grows && i == is.last ? HEADER : i, KEPT | i, is_complete);
    if (call->fault != 0)
        return true;
    const uint32_t counted = vorn_block_count(call->space->header);
    uint32_t end = counted;
    call->all_cleared &= vorn_find_end(call->space, &end);
    call->all_cleared &= vorn_clear_range(call->space, counted, end);
    call->status = 0;
    return true;
}

int32_t vorn_settle(data_space *space, int32_t status, int reason)
{
    // No interruption leaves a good object that is not a header.
    if (status == -EIO || vorn_is_fault(reason))
        return fail(status, reason);
    if (vorn_read_sign(space) != 0)
        return -1;
    const sign is = space->standing;
    settling call = {space, status};
    const bool is_ours = is.kind == sign::WRITE || is.kind == sign::EACH ? settle_write(&call) : is.is_ours();
    if (is.kind == sign::REMOVAL || (is.kind == sign::CREATION && status != 0)) {
        call.all_cleared &= vorn_clear_range(space, 0, is.first);
        // Of a write whose sign was replaced.
        call.all_cleared &= vorn_clear_range(space, KEPT, KEPT | (is.first + 1));
        call.fault = vorn_do(space, name_call::UNLINK, HEADER);
        space->is_deleted = call.fault == 0 && reason != ENOENT;
        call.status = -ENODATA;
    }
    if (call.fault != 0)
        return fail(-1, call.fault);
    if (is_ours && call.all_cleared && vorn_clear(space, NEXT_SIGN) && vorn_clear(space, SIGN))
        space->standing = {};
    return fail(call.status, call.status == -ENODATA ? ENOENT : reason);
}
