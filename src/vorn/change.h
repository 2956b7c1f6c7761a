/*
 * A call under way that changes a data space: its sign, and what a write keeps until its
 * end, so that it can be taken back.
 */
#pragma once

#include "vorn/data_space.h"

struct space_change {
    data_space *space;
    sign made;
    int reason = 0;      // of what first kept the call from doing all
    bool lost = false;   // an object lives at another name, or remains stay: the sign stays
};

/* Makes the sign, and keeps what it says. A sign of kind WRITE may become one of kind EACH,
 * and where none can be made, the call goes on without. Returns 0, or -1 when the change
 * must not begin, with the reason in errno. */
int32_t vorn_begin(space_change *change);

/* Saves an object, whose previous version is kept at `kept`, 0 where none is. When that
 * fails, the object holds what it held before, or it is lost. Returns 0 or the backend's
 * status, with the reason in errno. */
int32_t vorn_save(space_change *change, file_id id, file_id kept, backend_buffer bytes);

/* The same for an object that exists. */
int32_t vorn_update_data(space_change *change, file_id id, file_id kept, backend_buffer bytes);

/* At the end of a write. `is_complete` means that the last object was replaced. Returns
 * false when the call may not acknowledge what it has stored. */
bool vorn_end_write(space_change *change, bool is_complete);
