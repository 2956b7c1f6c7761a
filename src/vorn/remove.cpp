#include <cerrno>

#include "log.h"
#include "vorn.h"
#include "vorn/data_space.h"

// Without a header nobody knows how many blocks there are: they are found by
// their consecutive numbers.
static void remove_found_blocks(const char *label)
{
    constexpr int32_t limit = 0x1000000;
    char name[ALIAS_ROOM];
    for (int32_t i = 0; i < limit; ++i) {
        vorn_block_name(name, label, i);
        if (backend_remove_alias(name) != 0)
            return;
    }
}

int32_t vorn_remove(const char *label)
{
    data_space_header header;
    const int32_t status = vorn_read_header(label, &header);
    if (status == -EINVAL || status == -ENODATA) {
        LOG_ERROR("Failed to read header (%d)", status);
        return status;
    }
    char name[ALIAS_ROOM];
    int32_t count = 0;
    if (status == 0) {
        const uint32_t begun = header.data_size % header.block_size != 0 ? 1 : 0;
        count = static_cast<int32_t>(header.data_size / header.block_size + begun);
        for (int32_t i = 0; i < count; ++i) {
            vorn_block_name(name, label, i);
            const int32_t removed = backend_remove_alias(name);
            if (removed != 0)
                LOG_WARNING("backend_remove_alias for %s failed (%d)", name, removed);
        }
    } else {
        LOG_WARNING("Header for %s was broken (%d), however Data & Header will be removed forcely for reliability",
                    label, status);
        remove_found_blocks(label);
    }
    // An interrupted append leaves blocks that the header does not count.
    const backend_leftovers uncounted = {vorn_block_name, label, count};
    vorn_header_name(name, label);
    const int32_t removed = backend_remove_alias(name, status == 0 ? &uncounted : nullptr);
    if (removed != 0) {
        LOG_WARNING("backend_remove_alias failed (%d)", removed);
        return -1;
    }
    return 0;
}
