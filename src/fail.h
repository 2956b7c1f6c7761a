/*
 * How a function ends that reports a status and, in errno, its reason.
 */
#pragma once

#include <cerrno>
#include <cstdint>

/* Leaves the reason in errno, and returns the status. */
__attribute__((noinline)) inline int32_t fail(int32_t status, int reason)
{
    errno = reason;
    return status;
}
