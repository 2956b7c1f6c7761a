#define OPERATION "vorn_create"

#include <cerrno>
#include <cstring>

#include "FileBackend/vorn-backend/names.h"
#include "log.h"
#include "small_stack.h"
#include "vorn.h"
#include "vorn/clear.h"

// Makes the creation's sign. None is made where something stands at the header's
// name: the save will be refused, and a cut before must not make it remains.
static outcome begin_creation(data_space *space, bool is_absent, sign *made)
{
    const object_name header = vorn_header_name(space->label);
    const object_name name = vorn_sign_name(space->label);
    int error = vorn_read_sign(space);
    if (error != 0)
        return FAILED_CALL("lstat", *space, name.text, error);
    error = space->standing.kind == sign::IMPOSSIBLE ? 0 : file_look(space->directory.get(), header.text);
    if (error == 0)
        return {0};
    if (error != ENOENT)
        return FAILED_CALL("lstat", *space, header.text, error);
    // A call of which nothing is left to be settled may have left its sign.
    if (space->standing.kind != sign::NONE && !(is_absent && space->standing.is_ours() && vorn_drop_sign(*space)))
        return FAILED_CALL("mknod", *space, name.text, EEXIST);
    made->kind = sign::CREATION;
    outcome begun = vorn_make_sign(*space, made);
    if (made->kind == sign::CREATION && begun.status == 0 && !file_system_of(space->directory.get()).is_ordered) {
        begun = vorn_flush_sign(*space);
        if (begun.status != 0)
            (void)vorn_drop_sign(*space);
    }
    return begun;
}

// Stores the header of a new data space.
NOT_INLINED static outcome store_header(data_space *space, bool is_absent, const data_space_header &header)
{
    const owned<unsigned char> copy(static_cast<unsigned char *>(malloc(sizeof header)));
    if (copy == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "malloc failed");
    memcpy(copy.get(), &header, sizeof header);
    sign made;
    const outcome begun = begin_creation(space, is_absent, &made);
    if (begun.status != 0)
        return begun;
    const object_name name = vorn_header_name(space->label);
    const outcome saved = backend_save_data(name.text, {copy.get(), sizeof header});
    if (saved.status != 0)
        LOG_ERROR("backend_save_data for %s failed (%d)", name.text, saved.status);
    const bool stays = saved.remains && (space->directory == nullptr || !vorn_clear(*space, name));
    if (made.kind == sign::CREATION && !stays)
        (void)vorn_drop_sign(*space);   // where it stays, the next load drops it
    return saved.status == 0 ? outcome{0} : outcome{-1, saved.reason};
}

static outcome check_and_create(const char *label, uint32_t block_size, uint32_t flags)
{
    if (!vorn_label_is_valid(label))
        return FAILED(-EINVAL, EINVAL, "Invalid label");
    if (!vorn_block_size_is_valid(block_size))
        return FAILED(-EINVAL, EINVAL, "Invalid block size");
    data_space space;
    const outcome found = vorn_read_header(label, &space);
    bool is_absent = found.status == -ENODATA && found.reason == ENOENT;
    if (found.status == 0) {
        if ((flags & VORN_CREATE_REPLACE) == 0)
            return FAILED(-EEXIST, EEXIST, "Data space with label %s alreay exists", label);
        if (space.standing.kind == sign::FOREIGN)
            return FAILED_CALL("mknod", space, vorn_sign_name(label).text, EEXIST);
        const int32_t removed = vorn_remove(label);
        if (removed != 0)
            LOG_WARNING("Failed to remove old data space (%d)", removed);
        is_absent = removed == 0;
    } else if (found.status != -ENODATA) {
        LOG_WARNING("Failed to read old data space (%d)", found.status);
    }
    data_space_header header = {};
    header.block_size = block_size;
    header.flags = flags;
    return store_header(&space, is_absent, header);
}

int32_t vorn_create(const char *label, uint32_t block_size, uint32_t flags)
{
    return vorn_answer(check_and_create(label, block_size, flags));
}
