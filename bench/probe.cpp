/*
 * Lets a tool look at one call of a workload: vorn_probe DIRECTORY STORE WORKLOAD
 * Calls before it have warmed everything up. The call stands between two calls
 * of getppid, for strace, and is the function measured_call, for callgrind.
 */
#include <cstdio>
#include <cstring>
#include <sys/syscall.h>
#include <unistd.h>

#include "heap.h"
#include "store.h"

constexpr uint32_t WARM_CALLS = 3;

extern "C" __attribute__((noinline)) bool measured_call(const store *s, const workload *w)
{
    return perform(*s, *w, w->space, WARM_CALLS);
}

static bool prepare(const store &s, const workload &w, const char *directory)
{
    if (!s.open(directory))
        return false;
    if (w.what != action::CREATE_REMOVE && !s.fill(w.block_size, w.space))
        return false;
    for (uint32_t turn = 0; turn < WARM_CALLS; ++turn) {
        if (!perform(s, w, w.space, turn))
            return false;
    }
    return true;
}

int main(int argc, char **argv)
{
    const store &s = argc == 4 && strcmp(argv[2], library.name) == 0 ? library : plain_floor;
    const workload *w = nullptr;
    for (int i = 0; argc == 4 && i < workload_count; ++i) {
        if (strcmp(argv[3], workloads[i].name) == 0)
            w = &workloads[i];
    }
    if (w == nullptr || strcmp(argv[2], s.name) != 0) {
        fprintf(stderr, "usage: %s DIRECTORY library|floor WORKLOAD\n", argv[0]);
        return 2;
    }
    if (!prepare(s, *w, argv[1])) {
        fprintf(stderr, "%s: cannot prepare '%s' in %s\n", argv[0], w->name, argv[1]);
        return 1;
    }
    heap_start();
    syscall(SYS_getppid);
    const bool fine = measured_call(&s, w);
    syscall(SYS_getppid);
    heap_print(w->block_size);
    if (!fine)
        fprintf(stderr, "%s: '%s' failed\n", argv[0], w->name);
    return fine ? 0 : 1;
}
