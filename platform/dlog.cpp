/*
 * Stand-in for libdlog where the platform's own is not available: messages go
 * to standard error. VORN_LOG chooses which: off, error, or warning, which is
 * all of them and the default. It needs nothing but libc.
 */
#include "dlog.h"

#include <errno.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace {

/* On the stack of whichever thread logs, and small enough for a pipe to take
 * a line undivided. */
constexpr size_t LINE_SIZE = 1024;

/* Read for each message, so that a program can change it while it runs. */
bool is_wanted(int priority)
{
    const char *level = getenv("VORN_LOG");
    if (!level) {
        return true;
    }
    if (strcmp(level, "off") == 0) {
        return false;
    }
    return priority >= DLOG_ERROR || strcmp(level, "error") != 0;
}

char letter_of(int priority)
{
    switch (priority) {
    case DLOG_WARN:
        return 'W';
    case DLOG_ERROR:
        return 'E';
    default:
        return '?';
    }
}

/* snprintf returns what it would have liked to write; this is what it wrote. */
size_t stored(int wanted, size_t room)
{
    if (wanted < 0) {
        return 0;
    }
    return static_cast<size_t>(wanted) < room ? static_cast<size_t>(wanted) : room - 1;
}

/* Labels and paths in a message may hold anything, and must neither start a
 * line that looks like another message nor drive the terminal. Bytes from 0x80
 * stay, for names in UTF-8. */
void replace_controls(char *text, size_t length)
{
    for (size_t i = 0; i < length; i++) {
        const unsigned char byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte == 0x7f) {
            text[i] = '?';
        }
    }
}

/* Not stdio: stderr would take a lock and may hand out a line in portions. */
ssize_t put_line(const char *line, size_t length)
{
    ssize_t written;
    do {
        written = write(STDERR_FILENO, line, length);
    } while (written < 0 && errno == EINTR);
    return written;
}

}   // namespace

__attribute__((visibility("default"))) int dlog_print(int priority, const char *tag, const char *format, ...)
{
    if (!is_wanted(priority)) {
        return 0;
    }
    const int saved = errno;
    char line[LINE_SIZE];
    int wanted = snprintf(line, sizeof(line), "%c/%s: ", letter_of(priority), tag ? tag : "");
    size_t length = stored(wanted, sizeof(line));
    const size_t room = sizeof(line) - length;

    va_list arguments;
    va_start(arguments, format);
    errno = saved; /* for %m */
    wanted = vsnprintf(line + length, room, format, arguments);
    va_end(arguments);
    length += stored(wanted, room);

    replace_controls(line, length);
    line[length++] = '\n'; /* takes the place of the NUL, so there is room for it */
    const ssize_t written = put_line(line, length);

    /* Callers log first and look at errno afterwards. */
    errno = saved;
    return static_cast<int>(written);
}
