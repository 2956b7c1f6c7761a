/*
 * The way of a byte range through the blocks.
 */
#pragma once

#include <algorithm>
#include <cstdint>

/* Number of the block in which the byte at the offset lies. The compiler's own division
 * takes 630 bytes on 32-bit ARM. A double holds both numbers exactly, and the quotient
 * exactly enough: it never reaches the next whole number. */
inline uint32_t block_at(uint32_t offset, uint32_t block_size)
{
    return static_cast<uint32_t>(static_cast<double>(offset) / block_size);
}

struct block_walk {
    uint32_t index;      // the block
    uint32_t position;   // where in it the piece begins
    uint32_t chunk;      // bytes of the piece
    uint32_t left;       // bytes still to move, this piece included
    uint32_t done = 0;   // bytes moved

    block_walk(uint32_t block_size, uint32_t offset, uint32_t length)
        : index(block_at(offset, block_size)), position(offset - index * block_size),
          chunk(std::min(block_size - position, length)), left(length)
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
