/*
 * The gate through which all file, memory and libcrypto calls of the library go
 * in the tests, and the platform that the tests give it.
 */
#pragma once

#include <map>
#include <string>
#include <vector>

enum call_kind { FILE_CALL = 1, SIDE_CALL = 2, MEMORY_CALL = 4, CRYPTO_CALL = 8, ALL_CALLS = 15 };

// Ways in which a write falls short of what was asked.
enum tear { NOTHING, ONE_BYTE, HALF, ALL_BUT_16, ZEROS, FLIPPED, TEARS };

struct gate {
    // What to do, set by the test: at call number `trip` of those that count,
    // fail it and `span` - 1 more, or die before it.
    int counted = ALL_CALLS;
    const char *only = nullptr;   // counts calls of this name alone
    long trip = 0;
    long span = 1;   // how many calls fail
    long also = 0;   // and another call that fails
    bool dies = false;
    int torn = NOTHING;
    int error = 0;             // instead of the usual one
    const char *broken = "";   // and a call that always fails
    bool no_side = false;      // no side file can be made or found
    const char *directory = nullptr;

    // What happened.
    long calls = 0;
    bool dead = false;   // nothing reaches the disk any more
    bool fired = false;
    std::string tripped;   // the call at which it did
    int writes = 0;        // that were completed
    int directories = 0;
    int files = 0;
    int contexts = 0;
    std::map<void *, size_t> memory;
    size_t heap = 0;
    size_t peak = 0;
    std::vector<std::string> trace;      // open, unlink and write
    std::vector<std::string> messages;   // "E function: text", the data directory as DIR
};
extern gate the_gate;

void gate_on();
void gate_off();

/* Runs a call of the library with the gate as it is set, and sees that it leaves
 * no memory, file or context behind. */
template <typename Call>
auto gated(Call call)
{
    gate_on();
    const auto result = call();
    gate_off();
    return result;
}

/* A gate that only watches. */
void reset_gate(const std::string &directory);
