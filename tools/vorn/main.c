/*
 * vorn: keeps whole files in encrypted data spaces.
 *
 * Exit status: 0 when all went well, 2 for a wrong call, 1 for anything else.
 */
#define _POSIX_C_SOURCE 200809L

#include "command.h"
#include "message.h"
#include "space.h"
#include "vorn.h"

#include <errno.h>
#include <fcntl.h>
#include <getopt.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { DEFAULT_BLOCK_SIZE = 65536, MOST_OPERANDS = 3 };
enum { OPTION_HELP = 'h', OPTION_VERSION = 'V', OPTION_VERBOSE = 'v', OPTION_BLOCK_SIZE = 'b' };

struct call {
    const char *operands[MOST_OPERANDS]; /* the command, its label, its file */
    int count;
    const char *block_size; /* as it was given, or NULL */
    int answer;             /* OPTION_HELP or OPTION_VERSION, or 0 */
};

static const char help[] = "usage: vorn [-v] COMMAND\n"
                           "\n"
                           "  put LABEL FILE|- [-b BLOCK_SIZE]  store a file, replacing what LABEL held\n"
                           "  append LABEL FILE|-               add a file at the end of LABEL\n"
                           "  get LABEL [FILE]                  write LABEL to FILE or to standard output\n"
                           "  rm LABEL                          remove LABEL\n"
                           "  ls                                list labels, block sizes, bytes, blocks\n"
                           "  check [LABEL]                     read LABEL, or all, and report what is damaged\n"
                           "\n"
                           "  -b BLOCK_SIZE  bytes in a block, a multiple of 512; 65536 unless given\n"
                           "  -v             show each message of the library\n"
                           "  --help         show this\n"
                           "  --version      show the version\n"
                           "\n"
                           "FILE - is standard input. Exit status: 0 done, 1 failed, 2 wrong call.\n";

static int run_put(const struct call *call)
{
    uint32_t block_size = DEFAULT_BLOCK_SIZE;
    if (call->block_size) {
        block_size = (uint32_t)strtoul(call->block_size, NULL, 10);
    }
    return command_put(call->operands[1], call->operands[2], block_size);
}

static int run_append(const struct call *call)
{
    return command_append(call->operands[1], call->operands[2]);
}

static int run_get(const struct call *call)
{
    return command_get(call->operands[1], call->operands[2]);
}

static int run_rm(const struct call *call)
{
    return command_remove(call->operands[1]);
}

static int run_ls(const struct call *call)
{
    (void)call;
    return command_list();
}

static int run_check(const struct call *call)
{
    return command_check(call->operands[1]);
}

/* A call has as many operands as the command, which is one, and these. */
static const struct command {
    const char *name;
    int least;
    int most;
    const char *operands;
    int (*run)(const struct call *call);
} commands[] = {
    {"put", 2, 2, " LABEL FILE|- [-b BLOCK_SIZE]", run_put},
    {"append", 2, 2, " LABEL FILE|-", run_append},
    {"get", 1, 2, " LABEL [FILE]", run_get},
    {"rm", 1, 1, " LABEL", run_rm},
    {"ls", 0, 0, "", run_ls},
    {"check", 0, 1, " [LABEL]", run_check},
};

static const struct command *find_command(const char *name)
{
    for (size_t i = 0; i < sizeof commands / sizeof commands[0]; i++) {
        if (strcmp(name, commands[i].name) == 0) {
            return &commands[i];
        }
    }
    return NULL;
}

static bool refuse(const char *name, const char *reason)
{
    complain(name, "%s", reason);
    return false;
}

/* The library takes labels into file names unseen, so they are checked here. */
static bool label_is_fit(const char *label)
{
    if (strchr(label, '/')) {
        return refuse(label, "a label must not contain '/'");
    }
    if (strlen(label) > LONGEST_LABEL) {
        return refuse(label, "a label has at most 32 bytes");
    }
    return true;
}

static bool block_size_is_fit(const char *text)
{
    char *end = NULL;
    errno = 0;
    const unsigned long long value = strtoull(text, &end, 10);
    /* strtoull would take blanks and signs, too. */
    const bool is_number = text[0] >= '0' && text[0] <= '9' && *end == '\0' && errno == 0;
    if (!is_number || value == 0 || value > UINT32_MAX || value % SMALLEST_BLOCK != 0) {
        return refuse(text, "a block size is a multiple of 512, more than 0 and less than 4294967296");
    }
    return true;
}

static bool refuse_option(const char *name, char letter, const char *reason)
{
    const char option[] = {'-', letter, '\0'};
    return refuse(letter != '\0' ? option : name, reason);
}

static bool take_option(struct call *call, int option, char **argv)
{
    switch (option) {
    case OPTION_VERBOSE:
        log_everything();
        return true;
    case OPTION_BLOCK_SIZE:
        call->block_size = optarg;
        return true;
    case OPTION_HELP:
    case OPTION_VERSION:
        call->answer = option;
        return true;
    case ':':
        return refuse_option("", (char)optopt, "needs a value (see vorn --help)");
    default:
        return refuse_option(argv[optind - 1], (char)optopt, "unknown option (see vorn --help)");
    }
}

/* Options stand anywhere; behind "--" there are none. Returns false with a
 * message. */
static bool parse(struct call *call, int argc, char **argv)
{
    static const struct option long_options[] = {
        {"help", no_argument, NULL, OPTION_HELP}, {"version", no_argument, NULL, OPTION_VERSION}, {NULL, 0, NULL, 0}};
    int option;
    while ((option = getopt_long(argc, argv, ":hvb:", long_options, NULL)) != -1) {
        if (!take_option(call, option, argv)) {
            return false;
        }
    }
    for (; optind < argc; optind++) {
        if (call->count == MOST_OPERANDS) {
            return refuse(argv[optind], "too many arguments (see vorn --help)");
        }
        call->operands[call->count++] = argv[optind];
    }
    return true;
}

static bool call_is_fit(const struct call *call, const struct command *command)
{
    if (!command) {
        return refuse(call->operands[0], "unknown command (see vorn --help)");
    }
    const int count = call->count - 1;
    if (count < command->least || count > command->most) {
        complain(command->name, "wrong number of arguments; usage: vorn %s%s", command->name, command->operands);
        return false;
    }
    if (call->block_size && command->run != run_put) {
        return refuse(command->name, "takes no block size");
    }
    return (count == 0 || label_is_fit(call->operands[1])) &&
           (!call->block_size || block_size_is_fit(call->block_size));
}

static int run(const struct call *call)
{
    if (call->answer == OPTION_HELP) {
        (void)fputs(help, stdout);
        return DONE;
    }
    if (call->answer == OPTION_VERSION) {
        (void)puts("vorn " VORN_VERSION);
        return DONE;
    }
    if (call->count == 0) {
        (void)refuse("no command", "see vorn --help");
        return WRONG_CALL;
    }
    const struct command *command = find_command(call->operands[0]);
    return call_is_fit(call, command) ? command->run(call) : WRONG_CALL;
}

/*
 * A closed standard stream would leave its number to the next file that is
 * opened, and a message or a result would go into that. What is opened here in
 * its place can be neither read nor written.
 */
static void guard_standard_streams(void)
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; stream++) {
        if (fcntl(stream, F_GETFD) < 0 && errno == EBADF) {
            (void)open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

/* A full disk may show only when the last of the buffer is written. */
static int finish_output(int status)
{
    if (fflush(stdout) != 0 || ferror(stdout)) {
        return complain("standard output", "%s", strerror(errno));
    }
    return status;
}

int main(int argc, char **argv)
{
    struct call call = {.count = 0};
    guard_standard_streams();
    if (!parse(&call, argc, argv)) {
        return WRONG_CALL;
    }
    return finish_output(run(&call));
}
