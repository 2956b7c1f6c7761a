/*
 * Messages to the platform's log: where, and what.
 *
 * A message carries the name of an operation. A file whose functions are stages
 * of one operation defines that name as OPERATION before its first include.
 *
 * Logging may change errno. Code that decides something by errno after a message
 * keeps it in a variable before.
 */
#pragma once

#include <cerrno>
#include <cstdint>

#include "platform/dlog.h"

#ifndef OPERATION
#define OPERATION __func__
#endif

#define VORN_LOG(priority, format, ...) \
    dlog_print(priority, "VORN", "%s (%d) %s : " format, __FILE__, __LINE__, OPERATION, ##__VA_ARGS__)

#define LOG_ERROR(...) VORN_LOG(DLOG_ERROR, __VA_ARGS__)
#define LOG_WARNING(...) VORN_LOG(DLOG_WARN, __VA_ARGS__)

/* A failure: its status, its reason as an errno value, and what the log said. The
 * three are evaluated in this order, so that the reason may be errno itself. */
struct failure {
    int32_t status;
    int reason;
    int logged;

    int32_t report() const
    {
        errno = reason;
        return status;
    }
};

/* Logs an error, leaves the reason in errno, and is the status. */
#define FAILED(status, reason, ...) (failure{status, reason, LOG_ERROR(__VA_ARGS__)}.report())
