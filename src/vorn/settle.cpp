#define OPERATION "vorn_read_header"

#include "vorn/settle.h"

#include "log.h"
#include "vorn/files.h"

namespace {

// A call to be settled, and what settling it has found out.
struct settling {
    data_space *space;
    sign is;
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
    call->all_cleared = vorn_clear_range(*call->space, first, end) && call->all_cleared;
}

// Sees to it that settling ends where a call on a file has failed.
void expect_success(settling *call, const char *text, file_id id, int error)
{
    if (error == 0)
        return;
    call->fault = error;
    vorn_report(text, *call->space, id, error);
}

void delete_header(settling *call)
{
    expect_success(call, "unlink", HEADER, vorn_file_do(name_call::UNLINK, *call->space, HEADER));
    call->space->is_deleted = call->fault == 0 && call->reason != ENOENT;
    call->status = -ENODATA;
    call->reason = ENOENT;
}

// Whether a file stands at the name.
bool stands(settling *call, file_id id, uint64_t *inode = nullptr)
{
    const int error = vorn_file_do(name_call::LSTAT, *call->space, id, 0, inode);
    expect_success(call, "lstat", id, error == ENOENT ? 0 : error);
    return error == 0;
}

// Whether the object loads well.
bool is_good(settling *call, file_id id)
{
    object_name name;
    vorn_name(name, call->space->label, id);
    backend_buffer *record = nullptr;
    const int32_t status = backend_get_data(name, &record, nullptr);
    if (status != 0 && is_fault(errno))
        call->fault = errno;
    const loaded_object release(record);
    return status == 0;
}

// The kept version takes its name back.
void put_back(settling *call, file_id kept, file_id id)
{
    expect_success(call, "rename", kept, vorn_file_do(name_call::RENAME, *call->space, kept, id));
    object_name name;
    vorn_name(name, call->space->label, id);
    if (call->fault == 0)
        LOG_WARNING("Going back to the previous version of %s", name);
}

// Finds the header that will stand, which is the kept one where none is good at its own
// name. Returns false where there is none, and where the sign's range shows that it is
// not ours.
bool find_header(settling *call)
{
    const sign &is = call->is;
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
        call->space->standing.kind = sign::FOREIGN;
    return is_ours;
}

// A write is complete when the teller has been replaced: it is good and another file
// than the one that was kept, or nothing is kept of it any more.
bool judge(settling *call)
{
    const sign &is = call->is;
    const file_id teller = is.grows ? HEADER : is.last;
    uint64_t was = 0;
    uint64_t now = 0;
    if (is.kind == sign::EACH || !stands(call, KEPT | is.last, &was))
        return true;
    if (!stands(call, teller, &now) || was == now)
        return false;
    return is.grows ? call->status == 0 : is_good(call, teller);
}

void settle_block(settling *call, uint32_t index)
{
    if (!stands(call, KEPT | index))
        return;
    const bool is_done = call->is_complete && is_good(call, index);
    if (!is_done && call->fault == 0 && is_good(call, KEPT | index))
        put_back(call, KEPT | index, index);
    // rename leaves two names of one file.
    if (call->fault == 0)
        clear(call, KEPT | index, KEPT | (index + 1));
}

void settle_write(settling *call)
{
    const sign &is = call->is;
    call->is_complete = judge(call);
    const uint32_t blocks_end = is.grows ? is.last : is.last + 1;
    for (uint32_t i = is.first; i < blocks_end && call->fault == 0; ++i)
        settle_block(call, i);
    if (call->fault != 0)
        return;
    const uint32_t counted = vorn_block_count(call->space->header);
    uint32_t end = counted;
    call->all_cleared = vorn_find_end(*call->space, &end) && call->all_cleared;
    clear(call, counted, end);
    if (!is.grows)
        return;
    if (call->status != 0)
        put_back(call, KEPT | is.last, HEADER);
    if (call->fault == 0)
        clear(call, KEPT | is.last, KEPT | (is.last + 1));
    call->status = 0;
    call->reason = 0;
}

// Returns false where nothing is to be settled.
bool settle(settling *call)
{
    switch (call->is.kind) {
    case sign::CREATION:
        if (call->status != 0)   // the creation's remains
            delete_header(call);
        return true;
    case sign::REMOVAL:
        clear(call, 0, call->is.last);
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
    const int32_t read = vorn_read_sign(space);
    // No interruption leaves a good object that is not a header.
    if (status == -EIO || is_fault(reason))
        return fail(status, reason);
    if (read != 0)
        return read;
    settling call = {space, space->standing, status, reason};
    const bool is_ours = settle(&call);
    if (call.fault != 0)
        return fail(-1, call.fault);
    if (is_ours && call.all_cleared && vorn_clear(*space, NEXT_SIGN) && vorn_clear(*space, SIGN))
        space->standing = {};
    return fail(call.status, call.reason);
}
