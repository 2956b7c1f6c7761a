/*
 * What may be seen of a data space: a set of possible worlds. A call maps it, a
 * kill adds what was before, a read shrinks it to what it shows.
 */
#pragma once

#include <set>

#include "directory.h"

struct world {
    enum state { ABSENT, BROKEN, THERE, RUIN };   // RUIN: a removal has failed midway; anything may be seen
    state is = ABSENT;
    uint32_t block_size = 0;
    uint32_t flags = 0;
    std::string bytes = "";

    bool operator<(const world &other) const;
    bool shows(const world &seen) const;
    /* The files that make it. */
    file_map files(const std::string &label) const;
};
using worlds = std::set<world>;

world there(size_t size);   // in blocks of 512 bytes

struct call {
    enum operation { CREATE, WRITE, REMOVE, READ };
    operation kind = READ;
    uint32_t first = 0;   // block size and flags, or offset and length
    uint32_t second = 8192;
    int seed = 2;   // of the bytes that are written
    std::string label = "a";

    int32_t run() const;
    /* The result where nothing goes wrong, and what is there then. */
    int32_t result(const world &was) const;
    world done(const world &was) const;
    /* What is there when a fault has led to `got`. */
    worlds failed(const world &was, int32_t got) const;
    /* What a kill leaves. Where a call is not whole, each block is old or new. */
    worlds killed(const world &was, bool whole) const;

private:
    /* `count` bytes are written, and the header says so, or does not. */
    worlds written(const world &was, uint32_t count) const;
};

/* What the last read has delivered. */
extern std::string bytes_read;

/* What a reader of the label sees. */
world observe(const std::string &label = "a");
