/*
 * Lets a tool look at one call of a workload:
 * vorn_probe DIRECTORY WORKLOAD [LIBVORN.SO]
 * Without a library, the least work is looked at. Calls before it have warmed
 * everything up. The call stands between two calls of getppid, for strace.
 */
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "store.h"

constexpr uint32_t WARM_CALLS = 3;

static const workload *find_workload(const char *name)
{
    for (int i = 0; i < workload_count; ++i) {
        if (strcmp(name, workloads[i].name) == 0)
            return &workloads[i];
    }
    return nullptr;
}

static bool prepare(const store &s, const workload &w, const char *directory)
{
    if (!s.open(directory))
        return false;
    if (w.what != action::CREATE_REMOVE && !s.fill(w.block_size, w.space))
        return false;
    for (uint32_t turn = 0; turn < WARM_CALLS; ++turn) {
        if (!perform(s, w, turn))
            return false;
    }
    return true;
}

int main(int argc, char **argv)
{
    const workload *w = argc == 3 || argc == 4 ? find_workload(argv[2]) : nullptr;
    if (w == nullptr) {
        fprintf(stderr, "usage: %s DIRECTORY WORKLOAD [LIBVORN.SO]\n", argv[0]);
        return 2;
    }
    const store &s = argc == 4 ? library : least_work;
    if ((argc == 4 && !load_library(s, argv[3])) || !prepare(s, *w, argv[1])) {
        fprintf(stderr, "%s: cannot prepare '%s' in %s\n", argv[0], w->name, argv[1]);
        return 1;
    }
    syscall(SYS_getppid);
    const bool fine = perform(s, *w, WARM_CALLS);
    syscall(SYS_getppid);
    return fine ? 0 : 1;
}
