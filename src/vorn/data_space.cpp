#include "vorn/data_space.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

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

// With a valid label no name is cut.

object_name vorn_header_name(const char *label)
{
    object_name name;
    (void)snprintf(name.text, sizeof name.text, "VORN_HDR_%s", label);
    return name;
}

object_name vorn_block_name(const char *label, uint32_t index)
{
    object_name name;
    (void)snprintf(name.text, sizeof name.text, "VORN_DATA_%s_%d", label, static_cast<int32_t>(index));
    return name;
}

// No label gives an object a name that begins like these.

object_name vorn_sign_name(const char *label)
{
    object_name name;
    (void)snprintf(name.text, sizeof name.text, "VORN_OLD_VORN_HDR_%s", label);
    return name;
}

object_name vorn_kept_name(const char *label, uint32_t index)
{
    object_name name;
    (void)snprintf(name.text, sizeof name.text, "VORN_OLD_VORN_DATA_%s_%d", label, static_cast<int32_t>(index));
    return name;
}

// As no block has this number, nothing is kept under this name. No name is longer.
object_name vorn_next_sign_name(const char *label)
{
    return vorn_kept_name(label, BLOCK_LIMIT - 1);
}

int32_t vorn_answer(const outcome &ended)
{
    errno = ended.reason;
    return ended.status;
}
