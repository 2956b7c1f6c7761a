#define OPERATION "vorn_read_header"

#include "vorn/settle.h"

#include <cerrno>

#include "FileBackend/vorn-backend/names.h"
#include "log.h"
#include "vorn/clear.h"

namespace {

constexpr outcome GONE = {-ENODATA, ENOENT};

// A machine that fails says nothing about a file.
bool is_fault(const outcome &loaded)
{
    return loaded.reason != 0 && loaded.reason != ENOENT && loaded.reason != EBADMSG;
}

// Drops the sign, unless something was left for the next time.
void end_settling(data_space *space, bool all_cleared)
{
    if (vorn_clear(*space, vorn_next_sign_name(space->label)) && all_cleared && vorn_drop_sign(*space))
        space->standing = {};
}

outcome delete_header(data_space *space, const outcome &loaded)
{
    const object_name name = vorn_header_name(space->label);
    const int error = file_delete(space->directory.get(), name.text);
    if (error != 0)
        return FAILED_CALL("unlink", *space, name.text, error);
    space->is_deleted = loaded.reason != ENOENT;
    return GONE;
}

// An interrupted creation: a header that is not good is its remains.
outcome settle_creation(data_space *space, const outcome &loaded)
{
    const outcome settled = loaded.status == 0 ? loaded : delete_header(space, loaded);
    if (settled.status != -1)
        end_settling(space, true);
    return settled;
}

outcome settle_removal(data_space *space, const outcome &loaded)
{
    const bool all_cleared = vorn_clear_blocks(*space, 0, space->standing.last);
    const outcome settled = delete_header(space, loaded);
    if (settled.status != -1)
        end_settling(space, all_cleared);
    return settled;
}

// An interrupted write, and what settling it has found out.
struct interrupted_write {
    data_space *space;
    sign is;
    bool has_header;   // a good one, at its own name
    bool is_complete = false;
    bool all_cleared = true;
    outcome fault = {0};   // why it cannot be settled now

    bool find_header();
    void settle();

private:
    bool stands(const object_name &name, file_identity *identity);
    bool is_good(const object_name &name);
    bool judge();
    void put_back(const object_name &kept, const object_name &name);
    void settle_block(uint32_t index);
};

// Whether a file stands at the name.
bool interrupted_write::stands(const object_name &name, file_identity *identity)
{
    const int error = file_look(space->directory.get(), name.text, identity);
    if (error != 0 && error != ENOENT)
        fault = FAILED_CALL("lstat", *space, name.text, error);
    return error == 0;
}

bool interrupted_write::is_good(const object_name &name)
{
    backend_buffer *record = nullptr;
    const outcome load = backend_get_data(name.text, &record);
    const loaded_object release(record);
    if (is_fault(load))
        fault = {-1, load.reason};
    return load.status == 0;
}

// Finds the header that will stand, which is the kept one where none is good at its
// own name. Returns false where there is none, or where the sign is not ours because
// of its range.
bool interrupted_write::find_header()
{
    const object_name kept = vorn_kept_name(space->label, is.last);
    file_identity identity;
    if (!has_header) {
        if (!is.grows || !stands(kept, &identity))
            return false;
        backend_buffer *record = nullptr;
        const outcome load = backend_get_data(kept.text, &record);
        const loaded_object release(record);
        if (is_fault(load))
            fault = {-1, load.reason};
        if (load.status != 0 || vorn_header_of(*record, &space->header).status != 0)
            return false;
    }
    const uint32_t count = vorn_block_count(space->header);
    return is.first <= is.last && (is.grows ? is.last <= count : is.last < count);
}

// The write is complete when the teller has been replaced: it is good and another
// file than the one that was kept, or nothing is kept of it any more.
bool interrupted_write::judge()
{
    file_identity was;
    file_identity now;
    const object_name teller = is.grows ? vorn_header_name(space->label) : vorn_block_name(space->label, is.last);
    if (is.kind == sign::EACH || !stands(vorn_kept_name(space->label, is.last), &was))
        return true;
    if (!stands(teller, &now) || (was.device == now.device && was.inode == now.inode))
        return false;
    return is.grows ? has_header : is_good(teller);
}

// The kept version takes its name back.
void interrupted_write::put_back(const object_name &kept, const object_name &name)
{
    const int error = file_rename(space->directory.get(), kept.text, name.text);
    if (error != 0)
        fault = FAILED_CALL("rename", *space, kept.text, error);
    else
        LOG_WARNING("Going back to the previous version of %s", name.text);
}

void interrupted_write::settle_block(uint32_t index)
{
    const object_name kept = vorn_kept_name(space->label, index);
    const object_name name = vorn_block_name(space->label, index);
    file_identity identity;
    if (!stands(kept, &identity))
        return;
    const bool is_done = is_complete && is_good(name);
    if (!is_done && fault.status == 0 && is_good(kept))
        put_back(kept, name);
    // Two names of one file are both left by rename.
    if (fault.status == 0)
        all_cleared = vorn_clear(*space, kept) && all_cleared;
}

void interrupted_write::settle()
{
    is_complete = judge();
    const uint32_t end = is.grows ? is.last : is.last + 1;
    for (uint32_t i = is.first; i < end && fault.status == 0; ++i)
        settle_block(i);
    if (fault.status != 0)
        return;
    const uint32_t counted = vorn_block_count(space->header);
    all_cleared = vorn_clear_blocks(*space, counted, vorn_find_end(*space, counted)) && all_cleared;
    const object_name kept = vorn_kept_name(space->label, is.last);
    if (is.grows && !has_header)
        put_back(kept, vorn_header_name(space->label));
    if (is.grows && fault.status == 0)
        all_cleared = vorn_clear(*space, kept) && all_cleared;
}

outcome settle_write(data_space *space, const outcome &loaded)
{
    interrupted_write write = {space, space->standing, loaded.status == 0};
    if (!write.find_header()) {
        if (write.has_header)
            space->standing.kind = sign::FOREIGN;
        return write.fault.status != 0 ? write.fault : loaded;
    }
    write.settle();
    if (write.fault.status != 0)
        return write.fault;
    end_settling(space, write.all_cleared);
    return {0};
}

}   // namespace

outcome vorn_settle(data_space *space, const outcome &loaded)
{
    const int error = vorn_read_sign(space);
    // No interruption leaves a good object that is not a header.
    if (loaded.status == -EIO || is_fault(loaded))
        return loaded;
    if (error != 0)
        return FAILED_CALL("lstat", *space, vorn_sign_name(space->label).text, error);
    switch (space->standing.kind) {
    case sign::WRITE:
    case sign::EACH:
        return settle_write(space, loaded);
    case sign::CREATION:
        return settle_creation(space, loaded);
    case sign::REMOVAL:
        return settle_removal(space, loaded);
    default:
        return loaded;
    }
}
