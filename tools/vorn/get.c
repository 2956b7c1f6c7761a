/*
 * get: writes a data space to a file or to standard output.
 */
#define _POSIX_C_SOURCE 200809L
#ifndef __LP64__
#define _FILE_OFFSET_BITS 64
#endif

#include "command.h"

#include "message.h"
#include "progress.h"
#include "space.h"

#include <errno.h>
#include <fcntl.h>
#include <inttypes.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

struct output {
    const char *path; /* NULL: standard output */
    int descriptor;   /* -1 until there is something to write */
};

static const char *name_of(const struct output *output)
{
    return output->path ? output->path : "standard output";
}

/* Only once the first bytes have been read: a data space that cannot be read
 * costs no file. What was encrypted is not for everyone to read. */
static bool open_output(struct output *output)
{
    if (output->descriptor >= 0) {
        return true;
    }
    output->descriptor =
        output->path ? open(output->path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600) : STDOUT_FILENO;
    if (output->descriptor < 0) {
        complain(name_of(output), "%s", strerror(errno));
        return false;
    }
    return true;
}

static bool write_out(struct output *output, const uint8_t *bytes, size_t count)
{
    if (!open_output(output)) {
        return false;
    }
    while (count > 0) {
        const ssize_t written = write(output->descriptor, bytes, count);
        if (written >= 0) {
            bytes += written;
            count -= (size_t)written;
        } else if (errno != EINTR) {
            complain(name_of(output), "%s", strerror(errno));
            return false;
        }
    }
    return true;
}

static int complain_of_block(const char *label, uint32_t offset)
{
    const int reason = errno;
    log_show();
    return complain(label, "the block at offset %" PRIu32 " is %s", offset, fault_of_block(reason));
}

/* A read that comes back short ends at the end of the data or before a block that
 * cannot be read; the next read shows which. */
static int deliver(const char *label, struct output *output, uint8_t *piece, uint32_t room)
{
    uint32_t offset = 0;
    for (;;) {
        const int32_t got = space_read(label, offset, room, piece);
        if (got == -ERANGE) {
            return write_out(output, piece, 0) ? DONE : FAILED;
        }
        if (got < 0) {
            return complain_of_call(label, got);
        }
        if (got == 0) {
            return complain_of_block(label, offset);
        }
        if (!write_out(output, piece, (size_t)got)) {
            return FAILED;
        }
        offset += (uint32_t)got;
        progress_show(offset);
    }
}

/* A full disk may show only now. */
static int close_output(const struct output *output, int status)
{
    progress_hide();
    if (output->descriptor >= 0 && close(output->descriptor) != 0 && status == DONE) {
        status = complain(name_of(output), "%s", strerror(errno));
    }
    if (status != DONE && output->path && output->descriptor >= 0) {
        complain(output->path, "is incomplete now");
    }
    return status;
}

int command_get(const char *label, const char *path)
{
    struct output output = {path, -1};
    const uint32_t room = space_piece(space_block_size(label), 0);
    uint8_t *piece = malloc(room);
    if (!piece) {
        return complain(label, "out of memory");
    }
    if (path || !isatty(STDOUT_FILENO)) {
        progress_start("delivered", 0);
    }
    const int status = close_output(&output, deliver(label, &output, piece, room));
    free(piece);
    return status;
}
