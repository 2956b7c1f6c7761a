#include "vorn/data_space.h"

#include <cstring>

#include "vorn/walk.h"

// With snprintf an overwrite in memory takes five percent longer.
char *vorn_put_number(char *next, uint32_t number)
{
    char digits[11] = "";
    char *digit = digits + sizeof digits - 1;
    do {
        const uint32_t tens = block_at(number, 10);
        *--digit = static_cast<char>('0' + (number - tens * 10));
        number = tens;
    } while (number != 0);
    return stpcpy(next, digit);
}

const char *vorn_name(data_space *space, file_id id)
{
    // No label gives an object a name that begins like this.
    char *next = stpcpy(space->name, (id & KEPT) != 0 ? "VORN_OLD_" : "");
    next = stpcpy(next, (id & HEADER) != 0 ? "VORN_HDR_" : "VORN_DATA_");
    next = stpcpy(next, space->label);
    if ((id & HEADER) != 0)
        return space->name;
    *next++ = '_';
    vorn_put_number(next, id & ~KEPT);
    return space->name;
}

int32_t vorn_load(data_space *space, file_id id)
{
    space->loaded.reset();
    backend_buffer *record = nullptr;
    const int32_t status = backend_get_data(vorn_name(space, id), &record, &space->directory);
    space->loaded.reset(record);
    return status;
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
    const uint32_t whole = block_at(header.data_size, header.block_size);
    return whole * header.block_size == header.data_size ? whole : whole + 1;
}
