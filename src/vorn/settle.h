/*
 * Settling a call that was interrupted: it is finished or taken back, whole.
 */
#pragma once

#include "vorn/data_space.h"

/*
 * After each load of a header, which ended with `status` and `reason`. Returns how it
 * ends now: with `status` where nothing is to be settled, -ENODATA where the data space
 * is gone, -1 where half a change would be seen. The reason is in errno. A sign that
 * stays, because something could not be cleared away, is left in space->standing.
 */
int32_t vorn_settle(data_space *space, int32_t status, int reason);
