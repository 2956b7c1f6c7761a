/*
 * The platform's log, from libdlog.
 */
#ifndef VORN_PLATFORM_DLOG_H
#define VORN_PLATFORM_DLOG_H

#ifdef __cplusplus
extern "C" {
#endif

enum { DLOG_WARN = 5, DLOG_ERROR = 6 };

/*
 * Writes one message to the platform's log. priority is one of the above;
 * format and what follows it are those of printf, with %m for errno.
 */
__attribute__((format(printf, 3, 4))) int dlog_print(int priority, const char *tag, const char *format, ...);

#ifdef __cplusplus
}
#endif

#endif
