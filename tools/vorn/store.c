/*
 * put, append and rm.
 */
#include "command.h"

#include "input.h"
#include "message.h"
#include "progress.h"
#include "space.h"

#include <errno.h>
#include <inttypes.h>
#include <stdbool.h>
#include <string.h>

/* An input of up to this size is read whole before anything is changed. */
enum { READ_WHOLE = 64 << 20 };

/* A number of whole blocks, so that reading on leaves none to be stored twice. */
static size_t input_limit(uint32_t block_size)
{
    const uint32_t piece = space_piece(block_size, 0);
    const uint32_t pieces = (READ_WHOLE - 1) / piece + 1;
    return (size_t)piece * pieces;
}

static int complain_of_short_write(const char *label, uint32_t offset, int32_t written, uint32_t length)
{
    const int reason = errno;
    log_show();
    return complain(label, "wrote only %" PRId32 " of %" PRIu32 " bytes at offset %" PRIu32 "%s%s", written, length,
                    offset, reason != 0 ? ": " : "", reason != 0 ? strerror(reason) : "");
}

static int write_all(const char *label, uint32_t offset, const uint8_t *bytes, size_t count)
{
    while (count > 0) {
        const uint32_t piece = space_piece(space_block_size(label), offset);
        const uint32_t length = count < piece ? (uint32_t)count : piece;
        const int32_t written = space_write(label, offset, length, bytes);
        if (written < 0) {
            return complain_of_call(label, written);
        }
        if ((uint32_t)written != length) {
            return complain_of_short_write(label, offset, written, length);
        }
        offset += length;
        bytes += length;
        count -= length;
        progress_show(offset);
    }
    return DONE;
}

/*
 * A write whose header could not be replaced still counts its bytes as written,
 * yet the data space has not grown. The following write would notice, but the
 * last one has none following.
 */
static int confirm_end(const char *label, uint32_t end)
{
    uint8_t last;
    const int32_t result = space_read(label, end - 1, 1, &last);
    if (result == 1) {
        return DONE;
    }
    if (result < 0 && result != -ERANGE) {
        return complain_of_call(label, result);
    }
    log_show();
    return complain(label, "the last bytes written cannot be read back");
}

/* Stores what the input has read, and reads and stores on until it ends. */
static int store(struct input *input, const char *label, uint32_t offset)
{
    const uint32_t start = offset;
    for (;;) {
        if (input->count > UINT32_MAX - offset) {
            return complain(input->name, "too large: a data space holds at most 4294967295 bytes");
        }
        progress_start("stored", input->size > 0 ? start + input->size : 0);
        if (write_all(label, offset, input->bytes, input->count) != DONE) {
            return FAILED;
        }
        offset += (uint32_t)input->count;
        if (input->has_ended) {
            return offset > start ? confirm_end(label, offset) : DONE;
        }
        if (!input_fill(input)) {
            return FAILED;
        }
    }
}

/* After a failure: what became of the data space. */
static int report_state(const char *label, const char *state)
{
    uint32_t end;
    const int32_t result = space_end(label, space_block_size(label), &end);
    if (result == -ENODATA) {
        return complain(label, "does not exist now");
    }
    if (result < 0) {
        return complain(label, "cannot be read: remove it first");
    }
    return complain(label, "%s %" PRIu32 " bytes", state, end);
}

/* Reads as much as is read before anything is changed. */
static bool start_input(struct input *input, const char *path, size_t limit, uint32_t room)
{
    if (!input_open(input, path, limit)) {
        return false;
    }
    if (input->size > room) {
        complain(input->name, "too large: a data space holds at most 4294967295 bytes");
    } else if (input_fill(input)) {
        return true;
    }
    input_close(input);
    return false;
}

int command_put(const char *label, const char *path, uint32_t block_size)
{
    struct input input;
    if (!start_input(&input, path, input_limit(block_size), UINT32_MAX)) {
        return FAILED;
    }
    int status = DONE;
    const int32_t created = space_create(label, block_size);
    if (created < 0) {
        complain_of_call(label, created);
        status = report_state(label, "still holds");
    } else if (store(&input, label, 0) != DONE) {
        status = report_state(label, "is incomplete now and holds");
    }
    input_close(&input);
    progress_hide();
    return status;
}

int command_append(const char *label, const char *path)
{
    struct input input;
    uint32_t end;
    const uint32_t block_size = space_block_size(label);
    const int32_t result = space_end(label, block_size, &end);
    if (result < 0) {
        return complain_of_call(label, result);
    }
    if (!start_input(&input, path, input_limit(block_size), UINT32_MAX - end)) {
        return FAILED;
    }
    int status = DONE;
    if (store(&input, label, end) != DONE) {
        status = report_state(label, "now holds");
    }
    input_close(&input);
    progress_hide();
    return status;
}

int command_remove(const char *label)
{
    const int32_t result = space_remove(label);
    return result < 0 ? complain_of_call(label, result) : DONE;
}
