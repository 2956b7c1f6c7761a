/*
 * A write under way: what it keeps until its end, so that it can be taken back.
 */
#pragma once

#include "vorn/data_space.h"
#include "vorn/walk.h"

struct write_change {
    data_space *space;
    sign made;           // of kind WRITE, EACH or IMPOSSIBLE
    int reason = 0;      // of what first kept the call from doing all
    bool lost = false;   // an object lives at another name, or remains stay: the sign stays
};

/* Before the first block is loaded. `end` is the offset behind the last byte. Returns 0,
 * or -1 when the write must not begin, with the reason in errno. */
int32_t vorn_begin_write(write_change *change, uint32_t offset, uint32_t end);

/* Replaces an object, whose previous version is kept at `kept`, 0 where none is. When
 * that fails, the object holds what it held before, or it is lost. Returns 0 or the
 * backend's status, with the reason in errno. */
int32_t vorn_update_data(write_change *change, file_id id, file_id kept, backend_buffer bytes);

/* After the save of an object has failed: deletes its unfinished file, and brings the
 * previous version back where there is one. */
void vorn_take_back(write_change *change, file_id id, file_id kept, bool has_remains);

/* At the end. `blocks` is the number of blocks that were stored, and `is_complete`
 * means that the last object was replaced. Returns false when the call may not
 * acknowledge what it has stored. */
bool vorn_end_write(write_change *change, uint32_t blocks, bool is_complete);
