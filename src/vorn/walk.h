/*
 * The way of a byte range through the blocks.
 */
#pragma once

#include <algorithm>
#include <cstdint>

struct block_walk {
    uint32_t index;      // the block
    uint32_t position;   // where in it the piece begins
    uint32_t chunk;      // bytes of the piece
    uint32_t left;       // bytes still to move, this piece included
    uint32_t done = 0;   // bytes moved

    block_walk(uint32_t block_size, uint32_t offset, uint32_t length)
        : index(offset / block_size), position(offset % block_size), chunk(std::min(block_size - position, length)),
          left(length)
    {
    }

    void next(uint32_t block_size)
    {
        done += chunk;
        left -= chunk;
        index += 1;
        position = 0;
        chunk = std::min(block_size, left);
    }
};
