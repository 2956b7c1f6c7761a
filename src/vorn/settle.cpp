#define OPERATION "vorn_read_header"

#include "vorn/settle.h"

#include "log.h"
#include "vorn/files.h"

namespace {

// A call to be settled, and what settling it has found out.
struct settling {
    data_space *space;
    int32_t status;   // with which the header was loaded
    int reason;
    bool is_complete = false;   // of a write
    bool all_cleared = true;
    int fault = 0;   // why it cannot be settled now
};

// A machine that fails says nothing about a file.
bool is_fault(int reason)
{
    return reason != 0 && reason != ENOENT && reason != EBADMSG;
}

// What stays is left for the next time.
void clear(settling *call, file_id first, file_id end)
{
    call->all_cleared &= vorn_clear_range(call->space, first, end);
}

void delete_header(settling *call)
{
    call->fault = vorn_do(call->space, name_call::UNLINK, HEADER);
    call->space->is_deleted = call->fault == 0 && call->reason != ENOENT;
    call->status = -ENODATA;
    call->reason = ENOENT;
}

// Whether a file stands at the name.
bool stands(settling *call, file_id id, uint64_t *inode = nullptr)
{
    const int error = vorn_do(call->space, name_call::LSTAT, id, 0, inode);
    call->fault = error == ENOENT ? 0 : error;
    return error == 0;
}

// Whether the object loads well.
bool is_good(settling *call, file_id id)
{
    const int32_t status = vorn_load(call->space, id);
    if (status != 0 && is_fault(errno))
        call->fault = errno;
    return status == 0;
}

// Ends what is kept of an object: it takes its name back where it must, or it goes.
void settle_object(settling *call, file_id id, file_id kept, bool goes_back)
{
    if (goes_back) {
        call->fault = vorn_do(call->space, name_call::RENAME, kept, id);
        if (call->fault == 0)
            LOG_WARNING("Going back to the previous version of %s", vorn_name(call->space, id));
    }
    // rename leaves two names of one file.
    if (call->fault == 0)
        clear(call, kept, kept + 1);
}

void settle_block(settling *call, uint32_t index)
{
    const file_id kept = KEPT | index;
    if (!stands(call, kept))
        return;
    // Of a complete write that keeps all, what is kept may be stale: it began no further.
    const bool keeps_all = call->space->standing.kind == sign::WRITE;
    const bool is_done = call->is_complete && (keeps_all || is_good(call, index));
    if (call->fault == 0)
        settle_object(call, index, kept, !is_done && is_good(call, kept));
}

// Finds the header that will stand, which is the kept one where none is good at its own
// name. Returns false where there is none, and where the sign's range shows that it is
// not ours.
bool find_header(settling *call)
{
    sign &is = call->space->standing;
    if (call->status != 0) {
        if (!is.grows || !stands(call, KEPT | is.last))
            return false;
        if (vorn_load_header(call->space, KEPT | is.last) != 0) {
            call->fault = is_fault(errno) ? errno : 0;
            return false;
        }
    }
    const uint32_t count = vorn_block_count(call->space->header);
    const bool is_ours = is.first <= is.last && (is.grows ? is.last <= count : is.last < count);
    if (!is_ours)
        is.kind = sign::FOREIGN;
    return is_ours;
}

// A write is complete when the teller has been replaced: it is good and another file
// than the one that was kept, or nothing is kept of it any more.
bool judge(settling *call)
{
    const sign &is = call->space->standing;
    const file_id teller = is.grows ? HEADER : is.last;
    uint64_t was = 0;
    uint64_t now = 0;
    if (is.kind == sign::EACH || !stands(call, KEPT | is.last, &was))
        return true;
    if (!stands(call, teller, &now) || was == now)
        return false;
    return is.grows ? call->status == 0 : is_good(call, teller);
}

void settle_write(settling *call)
{
    const sign &is = call->space->standing;
    call->is_complete = judge(call);
    const uint32_t blocks_end = is.grows ? is.last : is.last + 1;
    for (uint32_t i = is.first; i < blocks_end && call->fault == 0; ++i)
        settle_block(call, i);
    if (call->fault != 0)
        return;
    const uint32_t counted = vorn_block_count(call->space->header);
    uint32_t end = counted;
    call->all_cleared &= vorn_find_end(call->space, &end);
    clear(call, counted, end);
    if (is.grows)
        settle_object(call, HEADER, KEPT | is.last, call->status != 0);
    call->status = 0;
    call->reason = 0;
}

// Returns false where nothing is to be settled.
bool settle(settling *call)
{
    const sign &is = call->space->standing;
    switch (is.kind) {
    case sign::CREATION:
        if (call->status != 0)   // the creation's remains
            delete_header(call);
        return true;
    case sign::REMOVAL:
        clear(call, 0, is.last);
        clear(call, KEPT, KEPT | (is.last + 1));   // of a write whose sign was replaced
        delete_header(call);
        return true;
    case sign::WRITE:
    case sign::EACH:
        if (!find_header(call))
            return call->fault != 0;
        settle_write(call);
        return true;
    default:
        return false;
    }
}

}   // namespace

int32_t vorn_settle(data_space *space, int32_t status, int reason)
{
    // No interruption leaves a good object that is not a header.
    if (status == -EIO || is_fault(reason))
        return fail(status, reason);
    if (vorn_read_sign(space) != 0)
        return -1;
    settling call = {space, status, reason};
    const bool is_ours = settle(&call);
    if (call.fault != 0)
        return fail(-1, call.fault);
    if (is_ours && call.all_cleared && vorn_clear(space, NEXT_SIGN) && vorn_clear(space, SIGN))
        space->standing = {};
    return fail(call.status, call.reason);
}
