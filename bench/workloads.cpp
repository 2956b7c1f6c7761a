#include <cstring>

#include "store.h"

// Those with one block size and one space stand together: they share it. The
// largest space comes last, because a disk may need long to recover from it.
// Rounds are short, well below a millisecond where that is possible: then most
// of them are not interrupted when the machine has other work, and the medians
// tell of those.
const workload workloads[] = {
    {"4096 create and remove", action::CREATE_REMOVE, 4096, 0, 0, 10, 2, 0, 0},
    {"4096 append", action::APPEND, 4096, 0, 4096, 10, 2, 1.65, 1.06},
    {"4096 read, 16 MiB", action::READ, 4096, 16 * MIB, 4096, 20, 20, 1.40, 1.35},
    {"4096 read 64 bytes, 16 MiB", action::READ, 4096, 16 * MIB, 64, 20, 20, 0, 1.35},
    {"4096 overwrite, 16 MiB", action::OVERWRITE, 4096, 16 * MIB, 4096, 10, 2, 1.40, 1.06},
    {"4096 overwrite 64 bytes, 16 MiB", action::OVERWRITE, 4096, 16 * MIB, 64, 10, 2, 0, 1.06},
    {"4096 read, 1 MiB", action::READ, 4096, MIB, 4096, 20, 20, 0, 0},
    {"4096 overwrite, 1 MiB", action::OVERWRITE, 4096, MIB, 4096, 10, 2, 0, 0},
    {"65536 append", action::APPEND, BLOCK_MAX, 0, BLOCK_MAX, 4, 1, 1.08, 1.08},
    {"65536 append 1 MiB", action::APPEND, BLOCK_MAX, 0, MIB, 1, 1, 1.08, 1.08},
    {"65536 read, 16 MiB", action::READ, BLOCK_MAX, 16 * MIB, BLOCK_MAX, 4, 4, 1.08, 1.08},
    {"65536 overwrite, 16 MiB", action::OVERWRITE, BLOCK_MAX, 16 * MIB, BLOCK_MAX, 4, 1, 1.08, 1.08},
    {"65536 read 1 MiB, 16 MiB", action::READ, BLOCK_MAX, 16 * MIB, MIB, 1, 1, 1.08, 1.08},
    {"65536 overwrite 1 MiB, 16 MiB", action::OVERWRITE, BLOCK_MAX, 16 * MIB, MIB, 1, 1, 1.08, 1.08},
    {"4096 read, 256 MiB", action::READ, 4096, 256 * MIB, 4096, 20, 20, 0, 0},
    {"4096 overwrite, 256 MiB", action::OVERWRITE, 4096, 256 * MIB, 4096, 10, 2, 0, 0},
};
const int workload_count = sizeof workloads / sizeof *workloads;

const unsigned char *sample_bytes()
{
    static unsigned char bytes[LENGTH_MAX];
    if (bytes[1] == 0) {
        // Every block has the same content, so that filling encrypts only once.
        for (uint32_t i = 0; i < LENGTH_MAX; ++i)
            bytes[i] = static_cast<unsigned char>(i % 4096 * 7 + i % 4096 / 256 + 1);
    }
    return bytes;
}

// No store shall profit from an order that its cache likes.
static uint32_t scatter(uint32_t turn)
{
    turn *= 0x9E3779B1u;
    turn = (turn ^ turn >> 15) * 0x85EBCA77u;
    return turn ^ turn >> 13;
}

static uint32_t offset_of(const workload &w, uint32_t space, uint32_t turn)
{
    if (w.what == action::APPEND)
        return turn * w.length;
    if (w.what == action::CREATE_REMOVE)
        return 0;
    if (w.length > w.block_size)
        return turn % (space / w.length) * w.length;
    const uint32_t within = w.length < w.block_size ? w.block_size / 2 : 0;
    return scatter(turn) % (space / w.block_size) * w.block_size + within;
}

bool perform(const store &s, const workload &w, uint32_t space, uint32_t turn)
{
    static unsigned char room[LENGTH_MAX];
    const uint32_t offset = offset_of(w, space, turn);
    switch (w.what) {
    case action::CREATE_REMOVE:
        return s.create(w.block_size) && s.remove();
    case action::APPEND:
    case action::OVERWRITE:
        return s.write(offset, w.length, sample_bytes());
    case action::READ:
        return s.read(offset, w.length, room) && memcmp(room, sample_bytes() + offset % 4096, 64) == 0;
    }
    return false;
}
