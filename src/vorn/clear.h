/*
 * Deleting what is no longer needed. What stays is a warning, and the caller
 * keeps the sign, so that the next load of the header tries again.
 */
#pragma once

#include "vorn/data_space.h"

/* Deletes a name. Returns false when it stays. */
bool vorn_clear(const data_space &space, const object_name &name);

/* Deletes the kept versions, or the blocks, from `first` to `end` - 1. The last one
 * goes first: where that is cut short, no gap hides the others from the next time.
 * Returns false when one stays. */
bool vorn_clear_kept(const data_space &space, uint32_t first, uint32_t end);
bool vorn_clear_blocks(const data_space &space, uint32_t first, uint32_t end);

/* The end of the blocks that stand without a gap from `first` on. */
uint32_t vorn_find_end(const data_space &space, uint32_t first);
