/*
 * vault: keeps whole files in encrypted data spaces.
 *
 * Exit status: 0 when all went well, 2 for a wrong call, 1 for anything else.
 */
#define _POSIX_C_SOURCE 200809L
#define _FILE_OFFSET_BITS 64 /* sizes beyond 2 GiB, also in a 32-bit build */

#include "vorn.h"

#include <errno.h>
#include <inttypes.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

enum { DONE = 0, FAILED = 1, WRONG_CALL = 2 };
enum { DEFAULT_BLOCK_SIZE = 4096, LONGEST_LABEL = 32, PIECE_SIZE = 64 * 1024 };

/* Static, because the stacks of small systems are small. */
static uint8_t piece[PIECE_SIZE];

static int usage(void)
{
    (void)fputs("usage: vault put LABEL FILE [BLOCK_SIZE]   store FILE, replacing what LABEL held\n"
                "       vault append LABEL FILE             add FILE at the end of LABEL\n"
                "       vault get LABEL                     write LABEL to standard output\n"
                "       vault rm LABEL                      remove LABEL\n",
                stderr);
    return WRONG_CALL;
}

static const char *meaning(int32_t result)
{
    switch (result) {
    case -EINVAL:
        return "the label or the block size is not valid";
    case -EEXIST:
        return "the data space exists already";
    case -ENODATA:
        return "there is no such data space";
    case -EIO:
        return "the header is damaged";
    case -ERANGE:
        return "the offset is beyond the end of the data, or the data space is full";
    case -ENOMEM:
        return "out of memory";
    default:
        return "the header could not be read, stored or deleted";
    }
}

static int complain(const char *name, const char *reason)
{
    (void)fprintf(stderr, "vault: %s: %s\n", name, reason);
    return FAILED;
}

/* The library takes labels into file names unseen, so they are checked here. */
static bool label_is_fit(const char *label)
{
    if (strchr(label, '/')) {
        complain(label, "a label must not contain '/'");
        return false;
    }
    if (strlen(label) > LONGEST_LABEL) {
        complain(label, "a label has at most 32 bytes");
        return false;
    }
    return true;
}

static bool parse_block_size(const char *text, uint32_t *block_size)
{
    char *end = NULL;
    errno = 0;
    unsigned long long value = strtoull(text, &end, 10);
    /* strtoull would take blanks and signs, too. */
    bool is_number = text[0] >= '0' && text[0] <= '9' && *end == '\0' && errno == 0;

    if (!is_number || value == 0 || value > UINT32_MAX || value % 512 != 0) {
        complain(text, "a block size is a multiple of 512, more than 0 and less than 4294967296");
        return false;
    }
    *block_size = (uint32_t)value;
    return true;
}

/* Returns NULL, with a message, unless path is a file that fits into room bytes. */
static FILE *open_source(const char *path, uint32_t room)
{
    struct stat status;
    FILE *source = fopen(path, "rb");
    if (!source) {
        complain(path, strerror(errno));
        return NULL;
    }

    const char *fault = NULL;
    if (fstat(fileno(source), &status) != 0) {
        fault = strerror(errno);
    } else if (!S_ISREG(status.st_mode)) {
        /* Anything else does not tell its size beforehand. */
        fault = "not a regular file";
    } else if ((uintmax_t)status.st_size > room) {
        fault = "too large: a data space holds at most 4294967295 bytes";
    }
    if (fault) {
        complain(path, fault);
        (void)fclose(source);
        return NULL;
    }
    return source;
}

/*
 * A write whose header could not be replaced still counts its bytes as written,
 * yet the data space has not grown. The following write would notice, but the
 * last one has none following.
 */
static int confirm_end(const char *label, uint32_t end)
{
    uint8_t last;
    int32_t result = vorn_read(label, end - 1, 1, &last);
    if (result == 1) {
        return DONE;
    }
    if (result < 0 && result != -ERANGE) {
        return complain(label, meaning(result));
    }
    return complain(label, "the last bytes written cannot be read back");
}

static int store(FILE *source, const char *path, const char *label, uint32_t offset)
{
    const uint32_t start = offset;
    size_t got;
    while ((got = fread(piece, 1, PIECE_SIZE, source)) > 0) {
        if (got > UINT32_MAX - offset) {
            return complain(path, "grew while it was read, and is too large now");
        }
        int32_t written = vorn_write(label, offset, (uint32_t)got, piece);
        if (written < 0) {
            return complain(label, meaning(written));
        }
        if ((size_t)written != got) {
            (void)fprintf(stderr, "vault: %s: wrote only %" PRId32 " of %zu bytes at offset %" PRIu32 "\n", label,
                          written, got, offset);
            return FAILED;
        }
        offset += (uint32_t)got;
    }
    if (ferror(source)) {
        return complain(path, strerror(errno));
    }
    return offset > start ? confirm_end(label, offset) : DONE;
}

static int put(const char *label, const char *path, uint32_t block_size)
{
    FILE *source = open_source(path, UINT32_MAX);
    if (!source) {
        return FAILED;
    }

    int32_t created = vorn_create(label, block_size, VORN_CREATE_REPLACE);
    int status = FAILED;
    if (created < 0) {
        complain(label, meaning(created));
    } else {
        status = store(source, path, label, 0);
        if (status != DONE) {
            complain(label, "is incomplete now");
        }
    }
    (void)fclose(source);
    return status;
}

/*
 * No call tells the length of a data space, but reading tells on which side of
 * the end an offset lies; a damaged block gives 0 bytes and still lies before
 * the end. The search starts with strides that double, because each read behind
 * the end is an error in the log, and halving all 32 bits would begin with many.
 *
 * Returns 0 or what vorn_read said.
 */
static int32_t find_end(const char *label, uint32_t *end)
{
    uint32_t low = 0; /* low <= end <= high */
    uint32_t high = UINT32_MAX;
    bool overshot = false;
    while (low < high) {
        uint32_t stride = (high - low) / 2;
        if (!overshot && stride > low) {
            stride = low;
        }
        uint8_t byte;
        int32_t result = vorn_read(label, low + stride, 1, &byte);
        if (result == -ERANGE) {
            high = low + stride;
            overshot = true;
        } else if (result < 0) {
            return result;
        } else {
            low += stride + 1;
        }
    }
    *end = low;
    return 0;
}

static int append(const char *label, const char *path)
{
    uint32_t end;
    int32_t result = find_end(label, &end);
    if (result < 0) {
        return complain(label, meaning(result));
    }

    FILE *source = open_source(path, UINT32_MAX - end);
    if (!source) {
        return FAILED;
    }
    int status = store(source, path, label, end);
    (void)fclose(source);
    return status;
}

/*
 * A piece that comes back short is either the last one or ends before a block
 * that cannot be read; only the next read tells which.
 */
static int deliver(const char *label)
{
    uint32_t offset = 0;
    bool was_short = false;
    for (;;) {
        int32_t got = vorn_read(label, offset, PIECE_SIZE, piece);
        if (got == -ERANGE) {
            return DONE;
        }
        if (got < 0) {
            return complain(label, meaning(got));
        }
        if (got == 0 || was_short) {
            (void)fprintf(stderr, "vault: %s: the block at offset %" PRIu32 " is missing or damaged\n", label, offset);
            return FAILED;
        }
        if (fwrite(piece, 1, (size_t)got, stdout) != (size_t)got) {
            return complain("standard output", strerror(errno));
        }
        offset += (uint32_t)got;
        was_short = got < PIECE_SIZE;
    }
}

static int get(const char *label)
{
    int status = deliver(label);
    /* A full disk may show only when the last of the buffer is written. */
    if (fclose(stdout) != 0 && status == DONE) {
        status = complain("standard output", strerror(errno));
    }
    return status;
}

static int rm(const char *label)
{
    int32_t result = vorn_remove(label);
    return result < 0 ? complain(label, meaning(result)) : DONE;
}

int main(int argc, char **argv)
{
    if (argc < 3) {
        return usage();
    }
    const char *command = argv[1];
    const char *label = argv[2];
    uint32_t block_size = DEFAULT_BLOCK_SIZE;

    if (strcmp(command, "put") == 0 && (argc == 4 || argc == 5)) {
        if (!label_is_fit(label) || (argc == 5 && !parse_block_size(argv[4], &block_size))) {
            return WRONG_CALL;
        }
        return put(label, argv[3], block_size);
    }
    if (strcmp(command, "append") == 0 && argc == 4) {
        return label_is_fit(label) ? append(label, argv[3]) : WRONG_CALL;
    }
    if (strcmp(command, "get") == 0 && argc == 3) {
        return label_is_fit(label) ? get(label) : WRONG_CALL;
    }
    if (strcmp(command, "rm") == 0 && argc == 3) {
        return label_is_fit(label) ? rm(label) : WRONG_CALL;
    }
    return usage();
}
