/*
 * Where an object lies.
 */
#pragma once

#include <cstdint>

#include "owned.h"

/* Room for a path with its NUL. */
constexpr uint32_t PATH_ROOM = 256;

/* Joins the directory and the name. Returns 0, or ENAMETOOLONG, also in errno, when that
 * does not fit. */
int set_object_path(char (&path)[PATH_ROOM], const char *directory, const char *alias);

/* Asks the platform for the data directory and forms the object's path. Returns 0, or
 * -ENOMEM or BACKEND_ERR_PATH with a message of the operation. `directory` becomes the
 * data directory where there is one. */
int32_t find_object(const char *operation, const char *alias, char (&path)[PATH_ROOM], owned<char> *directory);
