/*
 * Keeping the stack small.
 */
#pragma once

/* For a function with large locals that are needed for a part of its caller's
 * work only: inlined, they would take stack all the time. */
#define NOT_INLINED __attribute__((noinline))
