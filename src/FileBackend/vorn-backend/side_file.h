/*
 * Changing an object without losing it.
 *
 * An object is replaced by deleting its file and creating a new one. While that
 * goes on, a side file stands beside it, so that a failure, a kill or a power
 * cut at any moment leaves either the old content or the new:
 *
 *   set aside    a side file with content is the object's previous version, a
 *                second link to its file; an empty one is a marker that there
 *                was nothing before
 *   change       delete, create, write
 *   drop         the side file, when the change is complete
 *   put back     what it stands for, when the change failed; a load does the
 *                same when the change was interrupted
 *
 * This needs a file system that keeps its directory operations in order, and no
 * flush: the synchronous write of the new content carries all that went before.
 *
 * It is silent but for what keeps it from its work, and for a warning when it
 * goes back to a previous version. Its calls are link, mknod, rename, unlinkat and
 * lstat, so that whoever watches open, read, write, close and unlink sees the
 * plain sequence.
 */
#pragma once

#include <cstdint>

#include "FileBackend/vorn-backend/object_path.h"

struct backend_buffer;

/* One change of one object: a save, or a removal and then a save, each of which
 * is handed this record. A change that was not completed is undone when the
 * record goes out of scope. */
struct object_change {
    enum side { NOTHING, MARKER, VERSION, UNKNOWN };

    side kept = NOTHING;    // what the side file is
    bool created = false;   // the object's file is of our making
    object_path path;       // set by the save or removal

    object_change() {}
    ~object_change() { put_back(); }
    object_change(const object_change &) = delete;
    object_change &operator=(const object_change &) = delete;

    /* Before the deletion. TO_DO: the object is kept, or cannot be kept here at all,
     * and its file is to be deleted. DONE: the file has become the side file.
     * REFUSED: it must stay; errno says why. */
    enum deletion { TO_DO, DONE, REFUSED };
    deletion set_aside();

    /* Before the creation; does nothing where a version was set aside. Returns
     * false, with errno set, when the object must not be created. */
    bool mark_new();

    /* After the last write. */
    void drop();

private:
    void put_back();
};

/* After a good load: a side file that outlived its change must not bring an old
 * version back when the object is damaged some day. */
void drop_side_file(const object_path &path);

/* After a load that failed with `status` because the object is absent or its
 * content refused: settles an interrupted change. Returns 0 with the previous
 * version in *out, BACKEND_ERR_ALIAS_STATE when there was nothing before,
 * `status` when no change was interrupted, and another code when that cannot be
 * told now. */
int32_t recover_object(const object_path &path, int32_t status, backend_buffer **out);

/* Before a deletion that is not part of a change: settles an interrupted one, so
 * that deleting the object's file is all that is left to do. Returns false, with
 * errno set, when a side file stays. */
bool settle_object(const object_path &path);

/* Whether there is an object's file or a side file. */
enum class presence { ABSENT, PRESENT, UNKNOWN };
presence object_presence(const object_path &path);
