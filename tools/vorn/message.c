#define _POSIX_C_SOURCE 200809L

#include "message.h"

#include "platform/dlog.h"
#include "progress.h"

#include <errno.h>
#include <stdarg.h>
#include <stdbool.h>
#include <string.h>

/* One failed call logs a handful of messages, and the last ones say why. */
enum { KEPT_LINES = 16, LINE_SIZE = 512 };

static char kept[KEPT_LINES][LINE_SIZE];
static unsigned logged; /* since log_begin() */
static bool shows_everything;

void put_text(FILE *stream, const char *text)
{
    for (; *text; text++) {
        const unsigned char byte = (unsigned char)*text;
        (void)fputc(byte < 0x20 || byte == 0x7f ? '?' : byte, stream);
    }
}

static void put_line(const char *line)
{
    put_text(stderr, line);
    (void)fputc('\n', stderr);
}

void log_everything(void)
{
    shows_everything = true;
}

void log_begin(void)
{
    logged = 0;
}

void log_show(void)
{
    if (shows_everything) {
        return;
    }
    progress_hide();
    for (unsigned i = logged > KEPT_LINES ? logged - KEPT_LINES : 0; i < logged; i++) {
        put_line(kept[i % KEPT_LINES]);
    }
    logged = 0;
}

/*
 * Takes the place of the platform's: the library calls the one that the program
 * has. The library makes decisions by errno after it has logged.
 */
__attribute__((visibility("default"))) int dlog_print(int priority, const char *tag, const char *format, ...)
{
    const int saved = errno;
    char *line = kept[logged++ % KEPT_LINES];
    const int prefix = snprintf(line, LINE_SIZE, "%c/%s: ", priority == DLOG_WARN ? 'W' : 'E', tag);
    if (prefix > 0 && prefix < LINE_SIZE) {
        va_list arguments;
        va_start(arguments, format);
        errno = saved; /* for %m */
        (void)vsnprintf(line + prefix, (size_t)(LINE_SIZE - prefix), format, arguments);
        va_end(arguments);
    }
    if (shows_everything) {
        progress_hide();
        put_line(line);
    }
    errno = saved;
    return (int)strlen(line);
}

int complain(const char *name, const char *format, ...)
{
    va_list arguments;
    progress_hide();
    (void)fputs("vorn: ", stderr);
    put_text(stderr, name);
    (void)fputs(": ", stderr);
    va_start(arguments, format);
    (void)vfprintf(stderr, format, arguments);
    va_end(arguments);
    (void)fputc('\n', stderr);
    return FAILED;
}

const char *fault_of_block(int reason)
{
    switch (reason) {
    case EBADMSG:
        return "damaged";
    case ENOENT:
        return "missing";
    default:
        return "unreadable";
    }
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

int complain_of_call(const char *label, int32_t result)
{
    const int reason = errno;
    log_show();
    if (result == -ENODATA && reason != 0 && reason != ENOENT) {
        return complain(label, "the header cannot be opened: %s", strerror(reason));
    }
    if (result != -1 || reason == 0) {
        return complain(label, "%s", meaning(result));
    }
    if (reason == EBADMSG) {
        return complain(label, "the header is damaged");
    }
    return complain(label, "%s: %s", meaning(result), strerror(reason));
}
