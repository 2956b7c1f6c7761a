/*
 * Where an object lies.
 */
#pragma once

/* The path of an object's file, and that of the side file that stands beside it
 * while the object changes. `side` is empty where it does not fit: no such name
 * exists, so every call on it fails and the object is just not protected. */
struct object_path {
    char object[256];
    char side[256];
};

/* Forms both. Returns false when the object's path does not fit; then nothing
 * may be done under what stands there. */
bool set_object_path(object_path *path, const char *directory, const char *alias);
