/*
 * What is to be stored: a file or standard input, of known or unknown length.
 */
#ifndef VORN_TOOL_INPUT_H
#define VORN_TOOL_INPUT_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

struct input {
    const char *name; /* for messages */
    int descriptor;
    uint64_t size; /* of a regular file; 0 where it is not known */
    uint8_t *bytes;
    size_t count; /* bytes read by the last input_fill() */
    size_t room;
    size_t limit; /* the most that room grows to */
    bool has_ended;
};

/* path is "-" for standard input. Returns false with a message. */
bool input_open(struct input *input, const char *path, size_t limit);

/* Reads anew into bytes: as many as limit, or up to the end. Returns false with
 * a message. */
bool input_fill(struct input *input);

void input_close(struct input *input);

#endif
