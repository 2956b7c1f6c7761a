/*
 * What a device has for libdlog, in the least of lines.
 */
#include <stdarg.h>
#include <stdio.h>

int dlog_print(int priority, const char *tag, const char *format, ...)
{
    va_list arguments;
    fprintf(stderr, "the device's log: %d %s ", priority, tag);
    va_start(arguments, format);
    int length = vfprintf(stderr, format, arguments);
    va_end(arguments);
    fputc('\n', stderr);
    return length;
}
