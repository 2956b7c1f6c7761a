/*
 * The commands. Each returns the exit status of the tool and has said on
 * standard error what went wrong.
 */
#ifndef VORN_TOOL_COMMAND_H
#define VORN_TOOL_COMMAND_H

#include <stdint.h>

int command_put(const char *label, const char *path, uint32_t block_size);
int command_append(const char *label, const char *path);
int command_get(const char *label, const char *path); /* path NULL: standard output */
int command_remove(const char *label);
int command_list(void);
int command_check(const char *label); /* NULL: all */

#endif
