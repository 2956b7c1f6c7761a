/*
 * The library, and what it takes from the platform. These definitions win over
 * those of the shared libraries: no message is printed, and the data directory
 * costs no more than the copy that the caller frees.
 */
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/app_common.h"
#include "platform/dlog.h"
#include "store.h"
#include "vorn.h"

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

static bool library_open(const char *directory)
{
    const int length = snprintf(library_directory, sizeof library_directory, "%s", directory);
    return length > 0 && length < static_cast<int>(sizeof library_directory);
}

// The floor leaves the same files, without waiting for storage.
static bool library_fill(uint32_t block_size, uint32_t size)
{
    return plain_floor.open(library_directory) && plain_floor.fill(block_size, size);
}

static bool library_create(uint32_t block_size)
{
    return vorn_create(LABEL, block_size, 0) == 0;
}

static bool library_remove()
{
    return vorn_remove(LABEL) == 0;
}

static bool library_write(uint32_t offset, uint32_t length, const unsigned char *bytes)
{
    return vorn_write(LABEL, offset, length, bytes) == static_cast<int32_t>(length);
}

static bool library_read(uint32_t offset, uint32_t length, unsigned char *bytes)
{
    return vorn_read(LABEL, offset, length, bytes) == static_cast<int32_t>(length);
}

const store library = {"library",      library_open,  library_fill, library_create,
                       library_remove, library_write, library_read};
