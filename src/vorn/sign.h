/*
 * The sign: what a call that changes a data space puts beside the header before it
 * changes anything, and drops last. A load of the header that finds it finishes
 * the call or takes it back.
 *
 *   write F L G   A write is under way. The previous versions of the blocks from F
 *                 on are kept, all before the first change. L is where the teller
 *                 is kept, the object that is replaced last: the header when the
 *                 write grows (G is 1, and L the number of blocks), else block L.
 *   each F L G    The same, but each object is kept only while it is replaced.
 *   remove N      A removal of the blocks below N and of the header.
 *   (nothing)     A creation.
 *
 * It is the target of a symbolic link. It is the content of a file where those are
 * refused, and for a creation.
 */
#pragma once

#include <cstdint>

#include "FileBackend/vorn-backend/object.h"

struct data_space;

struct sign {
    // IMPOSSIBLE: no sign can be made or found here. FOREIGN: not one of ours.
    enum { NONE, WRITE, EACH, CREATION, REMOVAL, FOREIGN, IMPOSSIBLE } kind = NONE;
    uint32_t first = 0;   // F
    uint32_t last = 0;    // L, or N
    bool grows = false;   // G

    bool is_ours() const { return kind >= WRITE && kind <= REMOVAL; }
};

/* Reads the sign into space->standing. Returns 0, or an errno value where it cannot
 * be read. */
int vorn_read_sign(data_space *space);

/* Makes the sign. That of a removal takes the place of one that could not be settled.
 * The status is 0, or -1 when the change must not begin. Where no sign can be made at
 * all, made->kind becomes IMPOSSIBLE. */
outcome vorn_make_sign(const data_space &space, sign *made);

/* Brings the sign, and what was kept after it, to storage. The status is 0 or -1. */
outcome vorn_flush_sign(const data_space &space);

/* Drops the sign. Returns false when it stays. */
bool vorn_drop_sign(const data_space &space);
