#define _POSIX_C_SOURCE 200809L
#ifndef __LP64__
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64
#endif

#include "progress.h"

#include <stdbool.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

enum { LINE_SIZE = 80 };

static const char *verb; /* NULL: nothing is to be shown */
static uint64_t whole;
static double started; /* the work of this verb */
static double next_time;
static int shown_length;

static double now(void)
{
    struct timespec time;
    if (clock_gettime(CLOCK_MONOTONIC, &time) != 0) {
        return 0;
    }
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

void progress_start(const char *what, uint64_t total)
{
    progress_hide();
    if (!isatty(STDERR_FILENO)) {
        return;
    }
    verb = what;
    whole = total;
    started = now();
    if (next_time == 0) {
        next_time = started + 1;
    }
}

void progress_hide(void)
{
    if (shown_length > 0) {
        (void)fprintf(stderr, "\r%*s\r", shown_length, "");
        shown_length = 0;
    }
}

static int format_line(char *line, uint64_t done, double seconds)
{
    const double mega = 1e6;
    const double amount = (double)done / mega;
    const double rate = amount / seconds;
    if (whole == 0) {
        return snprintf(line, LINE_SIZE, "%s %.1f MB, %.1f MB/s", verb, amount, rate);
    }
    return snprintf(line, LINE_SIZE, "%s %.1f of %.1f MB, %.0f %%, %.1f MB/s", verb, amount, (double)whole / mega,
                    100.0 * (double)done / (double)whole, rate);
}

void progress_show(uint64_t done)
{
    if (!verb) {
        return;
    }
    const double time = now();
    if (time < next_time) {
        return;
    }
    char line[LINE_SIZE];
    const int length = format_line(line, done, time - started);
    progress_hide();
    (void)fputs(line, stderr);
    shown_length = length;
    next_time = time + 0.1;
}
