#include <cstring>

#include "store.h"

// The largest space comes last, because a disk may need long to recover from it.
const workload workloads[] = {
    {"create and remove", action::CREATE_REMOVE, 4096, 0, 0},
    {"append 4096", action::APPEND, 4096, 0, 4096},
    {"read 4096", action::READ, 4096, 16 * MIB, 4096},
    {"read 64", action::READ, 4096, 16 * MIB, 64},
    {"overwrite 4096", action::OVERWRITE, 4096, 16 * MIB, 4096},
    {"overwrite 64", action::OVERWRITE, 4096, 16 * MIB, 64},
    {"overwrite 8192", action::OVERWRITE, 4096, 16 * MIB, 8192},
    {"read 4096 of 1 MiB", action::READ, 4096, MIB, 4096},
    {"overwrite 4096 of 1 MiB", action::OVERWRITE, 4096, MIB, 4096},
    {"append 64 KiB", action::APPEND, BLOCK_MAX, 0, BLOCK_MAX},
    {"append 1 MiB", action::APPEND, BLOCK_MAX, 0, MIB},
    {"read 64 KiB", action::READ, BLOCK_MAX, 16 * MIB, BLOCK_MAX},
    {"overwrite 64 KiB", action::OVERWRITE, BLOCK_MAX, 16 * MIB, BLOCK_MAX},
    {"read 1 MiB", action::READ, BLOCK_MAX, 16 * MIB, MIB},
    {"overwrite 1 MiB", action::OVERWRITE, BLOCK_MAX, 16 * MIB, MIB},
    {"read 4096 of 64 MiB", action::READ, 4096, 64 * MIB, 4096},
    {"overwrite 4096 of 64 MiB", action::OVERWRITE, 4096, 64 * MIB, 4096},
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

static uint32_t offset_of(const workload &w, uint32_t turn)
{
    if (w.what == action::APPEND)
        return turn * w.length;
    if (w.what == action::CREATE_REMOVE)
        return 0;
    if (w.length > w.block_size)
        return turn % (w.space / w.length) * w.length;
    const uint32_t within = w.length < w.block_size ? w.block_size / 2 : 0;
    return scatter(turn) % (w.space / w.block_size) * w.block_size + within;
}

bool perform(const store &s, const workload &w, uint32_t turn)
{
    static unsigned char room[LENGTH_MAX];
    const uint32_t offset = offset_of(w, turn);
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
