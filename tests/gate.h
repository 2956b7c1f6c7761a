/*
 * The gate through which all file, memory and libcrypto calls of the library go
 * in the tests, and the platform that the tests give it.
 */
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

// What a call does: look at files, change them, take memory, encrypt, find that a
// file is damaged. The last is no fault of the machine.
enum call_kind { LOOK = 1, CHANGE = 2, MEMORY = 4, CRYPTO = 8, CHECK = 16, FILES = LOOK | CHANGE, FAULTS = 15 };

// Ways in which a write falls short of what was asked.
enum tear { NOTHING, ONE_BYTE, HALF, ALL_BUT_16, ZEROS, FLIPPED, TEARS };

enum file_system : uint32_t { TMPFS = 0x01021994, BTRFS = 0x9123683E, F2FS = 0xF2F52010, STRANGE = 0x5747 };

// How the calls of the library are disturbed: call number `trip` of those that
// count fails, and `span` - 1 after it; or the program dies before it.
struct disturbance {
    int counted = FAULTS | CHECK;
    const char *only = nullptr;   // counts calls of this name alone
    long trip = 0;
    long span = 1;
    long also = 0;   // another call that fails
    bool dies = false;
    int torn = NOTHING;
    int error = 0;   // instead of the usual one
};

// A machine that the library may meet.
struct machine {
    const char *name = "links";
    bool whole = true;                         // a call is all or nothing
    std::map<std::string, int> refused = {};   // calls that always fail; "open sign": those on a sign
    uint32_t file_system = TMPFS;
    bool full = false;
};

struct gate {
    disturbance set;
    machine on;
    const char *directory = nullptr;
    size_t most_memory = SIZE_MAX;
    std::function<void()> before_change, after_flush;

    // What happened.
    long calls = 0;      // of those that count
    long system = 0;     // of those that go to the system
    int reason = 0;      // errno as the call left it
    bool dead = false;   // nothing reaches the disk any more
    bool fired = false;
    std::string tripped;   // the call at which it did
    int directories = 0;
    int files = 0;
    int contexts = 0;
    std::set<void *> memory;
    std::vector<std::string> trace;      // calls and the names of files that they are about
    std::vector<std::string> messages;   // "E function: text", the data directory as DIR
};
extern gate the_gate;
extern std::string gate_problems;   // found while calls ran; stays until it is cleared

void gate_on();
void gate_off();

/* Runs a call of the library with the gate as it is set, and sees that it leaves
 * no memory, file or context behind. */
template <typename Call>
auto gated(Call call)
{
    gate_on();
    errno = EDOM;
    const auto result = call();
    the_gate.reason = errno;
    gate_off();
    return result;
}

/* A gate that only watches. */
void reset_gate(const std::string &directory, const machine &on = machine());
