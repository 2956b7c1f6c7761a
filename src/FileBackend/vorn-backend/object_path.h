/*
 * Where an object lies.
 */
#pragma once

#include <cstdint>

/* Room for a path with its NUL. */
constexpr uint32_t PATH_ROOM = 256;

/* Joins the directory and the name. Returns false when that does not fit; then
 * nothing may be done under what stands in `path`. */
bool set_object_path(char (&path)[PATH_ROOM], const char *directory, const char *alias);
