/*
 * Messages to the platform's log: where, and what.
 *
 * A message carries the name of an operation. A source file whose functions are
 * stages of one operation defines that name as OPERATION. One with several operations
 * defines OPERATION as the variable that holds it.
 *
 * Logging may change errno. Code that decides something by errno after a message
 * keeps it in a variable before.
 */
#pragma once

#include <cerrno>
#include <cstdint>

#include "platform/dlog.h"

#define VORN_LOG(priority, format, ...) \
    dlog_print(priority, "VORN", "%s (%d) %s : " format, __BASE_FILE__, __LINE__, OPERATION, ##__VA_ARGS__)

#define LOG_ERROR(...) VORN_LOG(DLOG_ERROR, __VA_ARGS__)
#define LOG_WARNING(...) VORN_LOG(DLOG_WARN, __VA_ARGS__)

/* Leaves the reason in errno, and returns the status. */
__attribute__((noinline)) inline int32_t fail(int32_t status, int reason)
{
    errno = reason;
    return status;
}

/* A failure that is logged: what stands before the point is evaluated before the
 * message, so the reason may be errno itself. */
struct failure {
    int32_t status;
    int reason;

    __attribute__((always_inline)) int32_t after(int) const { return fail(status, reason); }
};

/* Logs an error, or a warning, leaves the reason in errno, and is the status. */
#define FAILED(status, reason, ...) (failure{status, reason}.after(LOG_ERROR(__VA_ARGS__)))
#define WARNED(status, reason, ...) (failure{status, reason}.after(LOG_WARNING(__VA_ARGS__)))
