/*
 * A game: a data space is made by hand or by calls, and goes through calls of which
 * each may be killed or meet a fault. What is seen may only change as they say.
 */
#pragma once

#include "worlds.h"

struct dice {
    const uint8_t *next;
    size_t left;

    /* A number below `limit`. */
    uint32_t below(uint32_t limit);
    /* A number of at most so many bits; each length is as likely as another. */
    uint32_t number(uint32_t bits) { return below(UINT32_MAX) >> (32 - 1 - below(bits)); }
};

/* Plays until the dice are spent. Returns what was wrong, or "". */
std::string play(const directory &where, dice roll);
