/*
 * Builds of the library, and what they take from the platform. These definitions
 * win over those of the shared libraries, for every build: no message is printed,
 * and the data directory costs no more than the copy that the caller frees.
 */
#include <dlfcn.h>

#include <cstdio>
#include <cstring>

#include "include/vorn.h"
#include "platform/app_common.h"
#include "platform/dlog.h"
#include "store.h"

enum build { NOW, BEFORE };

struct functions {
    decltype(&vorn_create) create;
    decltype(&vorn_remove) remove;
    decltype(&vorn_write) write;
    decltype(&vorn_read) read;
};
static functions loaded[2];

static const char *const LABEL = "bench";
static char library_directory[160];

__attribute__((visibility("default"))) char *app_get_data_path(void)
{
    return strdup(library_directory);
}

__attribute__((visibility("default"))) int dlog_print(int, const char *, const char *, ...)
{
    return 0;
}

template <typename function>
static bool find(void *handle, const char *name, function *out)
{
    *out = reinterpret_cast<function>(dlsym(handle, name));
    return *out != nullptr;
}

bool load_library(const store &s, const char *path)
{
    functions *f = &loaded[&s == &library ? NOW : BEFORE];
    void *handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    const bool fine = handle != nullptr && find(handle, "vorn_create", &f->create) &&
                      find(handle, "vorn_remove", &f->remove) && find(handle, "vorn_write", &f->write) &&
                      find(handle, "vorn_read", &f->read);
    if (!fine)
        fprintf(stderr, "%s\n", dlerror());
    return fine;
}

static bool library_open(const char *directory)
{
    const int length = snprintf(library_directory, sizeof library_directory, "%s", directory);
    return length > 0 && length < static_cast<int>(sizeof library_directory);
}

// The least work leaves the same files, without waiting for storage.
static bool library_fill(uint32_t block_size, uint32_t size)
{
    return least_work.open(library_directory) && least_work.fill(block_size, size);
}

template <build which>
static bool library_create(uint32_t block_size)
{
    return loaded[which].create(LABEL, block_size, 0) == 0;
}

template <build which>
static bool library_remove()
{
    return loaded[which].remove(LABEL) == 0;
}

template <build which>
static bool library_write(uint32_t offset, uint32_t length, const unsigned char *bytes)
{
    return loaded[which].write(LABEL, offset, length, bytes) == static_cast<int32_t>(length);
}

template <build which>
static bool library_read(uint32_t offset, uint32_t length, unsigned char *bytes)
{
    return loaded[which].read(LABEL, offset, length, bytes) == static_cast<int32_t>(length);
}

template <build which>
static constexpr store store_of(const char *name)
{
    return {name,
            library_open,
            library_fill,
            library_create<which>,
            library_remove<which>,
            library_write<which>,
            library_read<which>};
}

const store library = store_of<NOW>("libvorn");
const store library_before = store_of<BEFORE>("before");
