/*
 * Loads below the operation.
 */
#pragma once

#include <cstdint>

#include "FileBackend/vorn-backend/object_path.h"

struct backend_buffer;

/* Loads the object in the file `path`, with the results of file_get_data. On
 * failure *refused tells whether the file is at fault, because it is absent or
 * its content is refused, or something that may work the next time. */
int32_t file_get_data(const char *path, backend_buffer **out, bool *refused);

/* Loads the object at `path`, or settles an interrupted change of it, with the
 * results of file_get_data. */
int32_t file_get_data(const object_path &path, backend_buffer **out);
