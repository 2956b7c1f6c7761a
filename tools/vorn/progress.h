/*
 * One line on a terminal for work that takes more than a second. Where standard
 * error is no terminal, nothing is shown.
 */
#ifndef VORN_TOOL_PROGRESS_H
#define VORN_TOOL_PROGRESS_H

#include <stdint.h>

/* what is the verb of the line, such as "stored"; total is 0 where it is not
 * known. */
void progress_start(const char *what, uint64_t total);

void progress_show(uint64_t done);

/* Erases the line. */
void progress_hide(void);

#endif
