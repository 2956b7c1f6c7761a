/*
 * What the tool says on standard error: its own complaints, one line each, and
 * the library's log where a call has failed.
 */
#ifndef VORN_TOOL_MESSAGE_H
#define VORN_TOOL_MESSAGE_H

#include <stdint.h>
#include <stdio.h>

/* The exit status of the tool. */
enum { DONE = 0, FAILED = 1, WRONG_CALL = 2 };

/* Shows each message of the library at once, whatever comes of the call. */
void log_everything(void);

/* A call of the library begins: what the ones before have logged is forgotten. */
void log_begin(void);

/* Shows what the library has logged since log_begin(). */
void log_show(void);

/* Writes a text with its control characters replaced. */
void put_text(FILE *stream, const char *text);

/* Writes one line about name and returns FAILED. */
__attribute__((format(printf, 2, 3))) int complain(const char *name, const char *format, ...);

/* The same for a call of the library that has returned result and has set errno. */
int complain_of_call(const char *label, int32_t result);

/* What a block is that cannot be read, by the library's errno: "damaged". */
const char *fault_of_block(int reason);

#endif
