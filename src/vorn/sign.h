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
 * It is the target of a symbolic link, or the content of an object where those are
 * refused. For a creation it is an empty file.
 */
#pragma once

#include <cstdint>

struct data_space;

struct sign {
    // IMPOSSIBLE: no sign can be made or found here. FOREIGN: not one of ours.
    enum { NONE, WRITE, EACH, REMOVAL, CREATION, FOREIGN, IMPOSSIBLE } kind = NONE;
    uint32_t first = 0;   // F, or N
    uint32_t last = 0;    // L
    bool grows = false;   // G

    bool is_ours() const { return kind >= WRITE && kind <= CREATION; }
};

/* Whether a call that makes a name failed in a way that another kind of name would meet
 * as well. */
bool vorn_is_grave(int error);

/* Reads the sign into space->standing. Returns 0, or -1 where it cannot be read. */
int32_t vorn_read_sign(data_space *space);

/* Makes the sign. That of a removal takes the place of one that could not be settled.
 * Returns 0, or -1 when the change must not begin. Where no sign can be made at all,
 * made->kind becomes IMPOSSIBLE, but that of a creation stays. */
int32_t vorn_make_sign(data_space *space, sign *made);
