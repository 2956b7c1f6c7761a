#include "vorn/data_space.h"

#include <cstdio>
#include <cstring>

void vorn_name(object_name &name, const char *label, file_id id)
{
    // No label gives an object a name that begins like this.
    const char *const prefix = (id & KEPT) != 0 ? "VORN_OLD_" : "";
    const auto index = static_cast<int32_t>(id & ~KEPT);
    if ((id & HEADER) != 0)
        (void)snprintf(name, sizeof name, "%sVORN_HDR_%s", prefix, label);
    else
        (void)snprintf(name, sizeof name, "%sVORN_DATA_%s_%d", prefix, label, index);
}

bool vorn_label_is_valid(const char *label)
{
    return label != nullptr && strnlen(label, LABEL_MAX + 1) <= LABEL_MAX;
}

bool vorn_block_size_is_valid(uint32_t block_size)
{
    return block_size != 0 && block_size % 512 == 0;
}

uint32_t vorn_block_count(const data_space_header &header)
{
    const uint32_t begun = header.data_size % header.block_size != 0 ? 1 : 0;
    return header.data_size / header.block_size + begun;
}
