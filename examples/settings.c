/*
 * Keeps a text from one run to the next: settings [TEXT]
 * With TEXT it is replaced, without it is printed.
 */
#include <vorn.h>

#include <errno.h>
#include <stdio.h>
#include <string.h>

/* One block, replaced whole by one call: after a power cut it is the old record
 * or the new one. The length is inside, because data spaces never get shorter. */
struct record {
    uint32_t length;
    char text[508];
};

/* The result is a status below 0, or a count that is too low. */
static int fail(const char *what, int32_t result)
{
    (void)fprintf(stderr, "%s: result %d: %s\n", what, (int)result, strerror(errno));
    return 1;
}

static int save(const char *text)
{
    struct record record = {0, ""};
    record.length = (uint32_t)strnlen(text, sizeof record.text); /* a longer text is cut */
    memcpy(record.text, text, record.length);

    int32_t result = vorn_create("settings", sizeof record, 0);
    if (result != 0 && result != -EEXIST) /* from the second run on it exists */
        return fail("create", result);
    result = vorn_write("settings", 0, sizeof record, &record);
    if (result != (int32_t)sizeof record) /* the old text is still there */
        return fail("write", result);
    return 0;
}

static int load(void)
{
    struct record record;
    int32_t result = vorn_read("settings", 0, sizeof record, &record);
    if (result == -ENODATA || result == -ERANGE) /* never created, or never written */
        return 0;
    if (result != (int32_t)sizeof record || record.length > sizeof record.text)
        return fail("read", result); /* damaged, or made by another program */
    (void)printf("%.*s\n", (int)record.length, record.text);
    return 0;
}

int main(int argc, char **argv)
{
    return argc > 1 ? save(argv[1]) : load();
}
