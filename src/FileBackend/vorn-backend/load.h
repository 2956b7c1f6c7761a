/*
 * The load of one file, whatever it stands for.
 */
#pragma once

#include <cstdint>

struct backend_buffer;

/* Loads the object in the file `path`, with the results of file_get_data. On
 * failure *refused tells whether the file is at fault, because it is absent or
 * its content is refused, or something that may work the next time. */
int32_t file_get_data(const char *path, backend_buffer **out, bool *refused);
