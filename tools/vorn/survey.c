/*
 * ls and check.
 */
#include "command.h"

#include "message.h"
#include "progress.h"
#include "space.h"

#include <errno.h>
#include <inttypes.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* What cannot be told is a dash. */
static void put_number(int width, bool is_known, uint32_t number)
{
    if (is_known) {
        (void)printf("  %*" PRIu32, width, number);
    } else {
        (void)printf("  %*s", width, "-");
    }
}

static int list_one(const char *label, size_t width)
{
    uint32_t end = 0;
    const uint32_t block_size = space_block_size(label);
    const int32_t result = space_end(label, block_size, &end);
    const int status = result < 0 ? complain_of_call(label, result) : DONE;
    const bool is_known = result == 0;
    const uint32_t blocks = block_size != 0 ? end / block_size + (end % block_size != 0) : 0;

    put_text(stdout, label);
    (void)printf("%*s", (int)(width - strlen(label)), "");
    put_number(10, block_size != 0, block_size);
    put_number(10, is_known, end);
    put_number(8, is_known && (block_size != 0 || end == 0), blocks);
    (void)putchar('\n');
    return status;
}

int command_list(void)
{
    struct labels labels;
    int status = DONE;
    size_t width = 0;
    if (!labels_list(&labels)) {
        return FAILED;
    }
    for (size_t i = 0; i < labels.count; i++) {
        const size_t length = strlen(labels.items[i]);
        width = length > width ? length : width;
    }
    for (size_t i = 0; i < labels.count; i++) {
        if (list_one(labels.items[i], width) != DONE) {
            status = FAILED;
        }
    }
    labels_free(&labels);
    return status;
}

/* A range of bytes that cannot be read, all for one reason. */
struct gap {
    uint32_t first;
    uint32_t end; /* 0: there is none yet */
    const char *fault;
};

static void put_gap(const char *label, const struct gap *gap)
{
    if (gap->end > 0) {
        put_text(stdout, label);
        (void)printf(": bytes %" PRIu32 " to %" PRIu32 " are %s\n", gap->first, gap->end - 1, gap->fault);
    }
}

/* Goes on with the gap or begins another. The log of its first block is shown. */
static void add_to_gap(const char *label, struct gap *gap, uint32_t offset, uint32_t end)
{
    const char *fault = fault_of_block(errno);
    if (gap->end != offset || gap->fault != fault) {
        put_gap(label, gap);
        log_show();
        *gap = (struct gap){offset, end, fault};
    }
    gap->end = end;
}

/* Where the block size is not known, each step is as small as a block can be. */
static uint32_t next_block(uint32_t offset, uint32_t block_size, uint32_t end)
{
    const uint32_t step = block_size != 0 ? block_size : SMALLEST_BLOCK;
    const uint32_t left = step - offset % step;
    return left < end - offset ? offset + left : end;
}

/* Reads all and reports what cannot be read. Returns the number of bytes that can
 * be, or what the library said. */
static int64_t read_all(const char *label, uint32_t block_size, uint32_t end, uint8_t *piece)
{
    const uint32_t room = space_piece(block_size, 0);
    struct gap gap = {0, 0, NULL};
    int64_t readable = 0;
    uint32_t offset = 0;
    while (offset < end) {
        const int32_t got = space_read(label, offset, room, piece);
        if (got < 0) {
            return got;
        }
        if (got > 0) {
            readable += got;
            offset += (uint32_t)got;
        } else {
            const uint32_t next = next_block(offset, block_size, end);
            add_to_gap(label, &gap, offset, next);
            offset = next;
        }
        progress_show(offset);
    }
    put_gap(label, &gap);
    return readable;
}

static int report_check(const char *label, int64_t readable, uint32_t end)
{
    progress_hide();
    put_text(stdout, label);
    if (readable == end) {
        (void)printf(": whole, %" PRIu32 " bytes\n", end);
        return DONE;
    }
    (void)printf(": not whole, %" PRId64 " of %" PRIu32 " bytes can be read\n", readable, end);
    return FAILED;
}

static int complain_of_check(const char *label, int32_t result)
{
    complain_of_call(label, result);
    if (result != -ENODATA) {
        put_text(stdout, label);
        (void)puts(": not whole");
    }
    return FAILED;
}

static int check_one(const char *label)
{
    uint32_t end;
    const uint32_t block_size = space_block_size(label);
    const int32_t result = space_end(label, block_size, &end);
    if (result < 0) {
        return complain_of_check(label, result);
    }
    uint8_t *piece = malloc(space_piece(block_size, 0));
    if (!piece) {
        return complain(label, "out of memory");
    }
    progress_start("checked", end);
    const int64_t readable = read_all(label, block_size, end, piece);
    free(piece);
    return readable < 0 ? complain_of_check(label, (int32_t)readable) : report_check(label, readable, end);
}

int command_check(const char *label)
{
    struct labels labels;
    int status = DONE;
    if (label) {
        return check_one(label);
    }
    if (!labels_list(&labels)) {
        return FAILED;
    }
    for (size_t i = 0; i < labels.count; i++) {
        if (check_one(labels.items[i]) != DONE) {
            status = FAILED;
        }
    }
    labels_free(&labels);
    return status;
}
