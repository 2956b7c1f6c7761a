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

#include "platform/dlog.h"

#ifndef OPERATION
#define OPERATION __func__
#endif

#define VORN_LOG(priority, format, ...) \
    dlog_print(priority, "VORN", "%s (%d) %s : " format, __FILE__, __LINE__, OPERATION, ##__VA_ARGS__)

#define LOG_ERROR(...) VORN_LOG(DLOG_ERROR, __VA_ARGS__)
#define LOG_WARNING(...) VORN_LOG(DLOG_WARN, __VA_ARGS__)

/* Logs an error, and is the outcome with this status and reason. */
#define FAILED(status, reason, ...) (LOG_ERROR(__VA_ARGS__), outcome{status, reason})
