/*
 * Messages to the platform's log: where, and what.
 *
 * Logging may change errno. Whoever decides something by errno after a message
 * keeps it in a variable before.
 */
#pragma once

#include "platform/dlog.h"

#define VORN_LOG(priority, format, ...) \
    dlog_print(priority, "VORN", "%s (%d) %s : " format, __FILE__, __LINE__, __func__, ##__VA_ARGS__)

#define LOG_ERROR(...) VORN_LOG(DLOG_ERROR, __VA_ARGS__)
#define LOG_WARNING(...) VORN_LOG(DLOG_WARN, __VA_ARGS__)
