/*
 * A number that several processes count up: shared LOCK_FILE TIMES
 * Calls for one label must not overlap, so each change holds a lock, from before
 * its read until after its write. The lock goes with the process that holds it.
 */
#include <vorn.h>

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

/* Returns a descriptor that holds the lock until it is closed, or -1. */
static int lock(const char *path)
{
    int lock_file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock_file < 0)
        return -1;
    while (flock(lock_file, LOCK_EX) != 0) {
        if (errno != EINTR) {
            (void)close(lock_file);
            return -1;
        }
    }
    return lock_file;
}

static int32_t load(uint32_t *number)
{
    int32_t result = vorn_read("number", 0, sizeof *number, number);
    if (result == -ENODATA) /* never created */
        result = vorn_create("number", 512, 0);
    else if (result == -ERANGE) /* never written: a process ended in between */
        result = 0;
    else
        return result;
    *number = 0;
    return result == 0 ? (int32_t)sizeof *number : result;
}

/* Returns 0, or 1 with a message. */
static int count_up(void)
{
    uint32_t number;
    int32_t result = load(&number);
    if (result == (int32_t)sizeof number) {
        number++;
        result = vorn_write("number", 0, sizeof number, &number);
    }
    if (result == (int32_t)sizeof number)
        return 0;
    (void)fprintf(stderr, "shared: result %d: %s\n", (int)result, strerror(errno));
    return 1;
}

int main(int argc, char **argv)
{
    if (argc != 3) {
        (void)fputs("usage: shared LOCK_FILE TIMES\n", stderr);
        return 2;
    }
    for (long left = strtol(argv[2], NULL, 10); left > 0; left--) {
        int lock_file = lock(argv[1]);
        if (lock_file < 0) {
            perror(argv[1]);
            return 1;
        }
        int status = count_up();
        (void)close(lock_file);
        if (status != 0)
            return status;
    }
    uint32_t number = 0;
    int lock_file = lock(argv[1]); /* a read, too, must not meet a write */
    int32_t result = lock_file < 0 ? -1 : vorn_read("number", 0, sizeof number, &number);
    (void)close(lock_file);
    (void)printf("%lu\n", (unsigned long)number);
    return result == (int32_t)sizeof number ? 0 : 1;
}
