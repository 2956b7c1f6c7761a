/*
 * A plain file, as a program would keep it: no encryption, no digest, written in
 * place. A write has reached storage when the call returns; a power cut in the
 * middle can leave it half old and half new.
 */
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "store.h"

static char path[256];

static bool plain_open(const char *directory)
{
    return snprintf(path, sizeof path, "%s/plain", directory) < static_cast<int>(sizeof path);
}

static bool plain_create(uint32_t)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_EXCL, 0644);
    const bool fine = file >= 0 && fsync(file) == 0;
    return close(file) == 0 && fine;
}

static bool plain_remove()
{
    return unlink(path) == 0;
}

static bool write_with(int flags, uint32_t offset, uint32_t length, const unsigned char *bytes)
{
    const int file = open(path, O_WRONLY | flags);
    const bool fine = file >= 0 && pwrite(file, bytes, length, offset) == static_cast<ssize_t>(length);
    return close(file) == 0 && fine;
}

static bool plain_write(uint32_t offset, uint32_t length, const unsigned char *bytes)
{
    return write_with(O_DSYNC, offset, length, bytes);
}

static bool plain_fill(uint32_t block_size, uint32_t size)
{
    bool fine = plain_create(block_size);
    for (uint32_t offset = 0; fine && offset < size; offset += LENGTH_MAX)
        fine = write_with(0, offset, LENGTH_MAX, sample_bytes());
    return fine;
}

static bool plain_read(uint32_t offset, uint32_t length, unsigned char *bytes)
{
    const int file = open(path, O_RDONLY);
    const bool fine = file >= 0 && pread(file, bytes, length, offset) == static_cast<ssize_t>(length);
    return close(file) == 0 && fine;
}

const store plain_file = {"plain file", plain_open, plain_fill, plain_create, plain_remove, plain_write, plain_read};
