/*
 * Calls on the files of a data space, beside the operations on its objects.
 */
#pragma once

#include "vorn/data_space.h"

/* Makes a call on a file's name. Returns 0 or an errno value. */
int vorn_try(data_space *space, name_call call, file_id id, file_id second = 0);

/* The same, and a failure is logged and left in errno. That LSTAT finds nothing is not
 * logged. */
int vorn_do(data_space *space, name_call call, file_id id, file_id second = 0);

/* Logs that a call on a file failed. Returns -1, with the error in errno. */
int32_t vorn_report(data_space *space, name_call call, file_id id, int error);

/* Deletes what is no longer needed. Returns false, with a warning, when it stays; the
 * caller then keeps the sign, so that the next load of the header tries again. */
bool vorn_clear(data_space *space, file_id id);

/* Clears the ids from `first` to `end` - 1. The last one goes first: where that is cut
 * short, no gap hides the others from the next time. */
bool vorn_clear_range(data_space *space, file_id first, file_id end);

/* Clears what a write of that sign has kept. */
bool vorn_clear_kept(data_space *space, const sign &made);

/* Moves `end` behind the blocks that stand without a gap from there on. Returns false,
 * with a message, where that cannot be seen. */
bool vorn_find_end(data_space *space, uint32_t *end);
