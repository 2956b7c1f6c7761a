/*
 * Settling a call that was interrupted: it is finished or taken back, whole.
 */
#pragma once

#include "vorn/data_space.h"

/*
 * After each load of a header, which ended with `loaded`. Returns how it ends now:
 * `loaded` where nothing is to be settled, status -ENODATA where the data space is
 * gone, status -1 where half a change would be seen. A sign that stays, because
 * something could not be cleared away, is left in space->standing.
 */
outcome vorn_settle(data_space *space, const outcome &loaded);
