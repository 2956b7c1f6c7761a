/*
 * What all of the backend knows of an object: its bytes, the room for its name, and
 * how an operation on it ends.
 */
#pragma once

#include <cstdint>

#include "owned.h"

// Signed, as they are passed on and printed.
constexpr int32_t BACKEND_ERR_CIPHER = static_cast<int32_t>(0xFE1F00FF);
constexpr int32_t BACKEND_ERR_DIGEST = static_cast<int32_t>(0xFE1F0007);
constexpr int32_t BACKEND_ERR_PATH = static_cast<int32_t>(0xFE1F000A);
constexpr int32_t BACKEND_ERR_ALIAS_STATE = static_cast<int32_t>(0xFE1F000C);
constexpr int32_t BACKEND_ERR_INTEGRITY = static_cast<int32_t>(0xFE1F000D);
constexpr int32_t BACKEND_ERR_IO = static_cast<int32_t>(0xFE1F0011);

/* Room for an object's name with its NUL. */
constexpr uint32_t ALIAS_ROOM = 64;

struct backend_buffer {
    unsigned char *data;
    uint32_t size;
};

/* Owner of what a load hands out. */
struct free_loaded_object {
    void operator()(backend_buffer *record) const
    {
        free(record->data);
        free(record);
    }
};
using loaded_object = std::unique_ptr<backend_buffer, free_loaded_object>;
