#define _POSIX_C_SOURCE 200809L
#ifndef __LP64__
#define _FILE_OFFSET_BITS 64 /* sizes beyond 2 GiB */
#define _TIME_BITS 64
#endif

#include "input.h"

#include "message.h"
#include "progress.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum { READ_AT_ONCE = 1 << 20 };

/* What is left of a regular file. Some files of /proc say 0 and hold more. */
static uint64_t size_left(int descriptor, const struct stat *status)
{
    if (!S_ISREG(status->st_mode)) {
        return 0;
    }
    const off_t position = lseek(descriptor, 0, SEEK_CUR);
    return position >= 0 && position < status->st_size ? (uint64_t)(status->st_size - position) : 0;
}

bool input_open(struct input *input, const char *path, size_t limit)
{
    const bool is_standard = strcmp(path, "-") == 0;
    struct stat status;
    *input = (struct input){.name = is_standard ? "standard input" : path, .limit = limit};
    input->descriptor = is_standard ? STDIN_FILENO : open(path, O_RDONLY | O_CLOEXEC);
    if (input->descriptor < 0 || fstat(input->descriptor, &status) != 0) {
        complain(input->name, "%s", strerror(errno));
        input_close(input);
        return false;
    }
    input->size = size_left(input->descriptor, &status);
    return true;
}

/* A file of known size gets one byte more, which lets its end be seen. */
static bool make_room(struct input *input)
{
    size_t room = input->room * 2;
    if (room < READ_AT_ONCE) {
        room = input->size > 0 && input->size < input->limit ? (size_t)input->size + 1 : READ_AT_ONCE;
    }
    if (room > input->limit) {
        room = input->limit;
    }
    uint8_t *bytes = realloc(input->bytes, room);
    if (!bytes) {
        complain(input->name, "out of memory");
        return false;
    }
    input->bytes = bytes;
    input->room = room;
    return true;
}

static ssize_t read_some(const struct input *input)
{
    size_t length = input->room - input->count;
    if (length > READ_AT_ONCE) {
        length = READ_AT_ONCE;
    }
    ssize_t got;
    do {
        got = read(input->descriptor, input->bytes + input->count, length);
    } while (got < 0 && errno == EINTR);
    return got;
}

bool input_fill(struct input *input)
{
    input->count = 0;
    progress_start("read", input->size);
    while (!input->has_ended && input->count < input->limit) {
        if (input->count == input->room && !make_room(input)) {
            return false;
        }
        const ssize_t got = read_some(input);
        if (got < 0) {
            complain(input->name, "%s", strerror(errno));
            return false;
        }
        input->count += (size_t)got;
        input->has_ended = got == 0;
        progress_show(input->count);
    }
    return true;
}

void input_close(struct input *input)
{
    if (input->descriptor > STDIN_FILENO) {
        (void)close(input->descriptor);
    }
    free(input->bytes);
}
