#include "gate.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <mutex>

#include "SecureDataStore/secure_data_store.h"
#include "platform/app_common.h"
#include "platform/dlog.h"

gate the_gate;

namespace {

bool armed;
std::string directory_path;

bool closed(call_kind kind, const char *name, int error)
{
    gate &g = the_gate;
    if (!armed)
        return false;
    if (kind == SIDE_CALL && g.no_side) {
        errno = strcmp(name, "lstat") == 0 || strcmp(name, "unlinkat") == 0 ? ENOENT : ENOSYS;
        return true;
    }
    if (strcmp(name, g.broken) == 0) {
        errno = error;
        return true;
    }
    if (!g.dead && (g.counted & kind) != 0 && (g.only == nullptr || strcmp(g.only, name) == 0)) {
        if (++g.calls == g.also) {
            errno = EMFILE;
            return true;
        }
        if (g.trip != 0 && g.calls >= g.trip && g.calls - g.trip < g.span) {
            g.fired = true;
            g.tripped = name;
            g.dead = g.dies;
            errno = g.error != 0 ? g.error : error;
            return !g.dies || (kind & (FILE_CALL | SIDE_CALL)) != 0;
        }
    }
    errno = g.dead ? EIO : errno;
    return g.dead && (kind & (FILE_CALL | SIDE_CALL)) != 0;
}

// Written only when armed: where several threads call, the gate just lets through.
void tally(int *counter, int change)
{
    if (armed)
        *counter += change;
}

void *count_memory(void *was, void *now, size_t size)
{
    gate &g = the_gate;
    if (armed && now != nullptr) {
        g.heap += size - g.memory[was];
        g.memory.erase(was);
        g.memory[now] = size;
        g.peak = std::max(g.peak, g.heap);
    }
    return now;
}

void trace(const char *call, const char *path, int flags = 0)
{
    if (!armed)
        return;
    const char *name = strrchr(path, '/');
    the_gate.trace.push_back(std::string(call) + " " + (name != nullptr ? name + 1 : path) +
                             (flags != 0 ? " " + std::to_string(flags) : ""));
}

}   // namespace

extern "C" {

#define GATED(kind, error, failed, type, name, parameters, ...)                                                     \
    type __real_##name parameters;                                                                                  \
    type __wrap_##name parameters;                                                                                  \
    type __wrap_##name parameters                                                                                   \
    {                                                                                                               \
        return closed(kind, strstr(#name, "lstat") ? "lstat" : #name, error) ? failed : __real_##name(__VA_ARGS__); \
    }

GATED(FILE_CALL, EIO, -1, off_t, lseek, (int file, off_t offset, int whence), file, offset, whence)
GATED(SIDE_CALL, EIO, -1, int, link, (const char *from, const char *to), from, to)
GATED(SIDE_CALL, EIO, -1, int, rename, (const char *from, const char *to), from, to)
GATED(SIDE_CALL, EIO, -1, int, mknod, (const char *path, mode_t mode, dev_t device), path, mode, device)
GATED(SIDE_CALL, EIO, -1, int, unlinkat, (int at, const char *path, int flags), at, path, flags)
GATED(SIDE_CALL, EIO, -1, int, lstat, (const char *path, struct stat *status), path, status)
#ifndef __LP64__
GATED(SIDE_CALL, EIO, -1, int, __lstat64_time64, (const char *path, struct stat *status), path, status)
#endif
GATED(CRYPTO_CALL, 0, 0, int, EVP_EncryptInit_ex,
      (EVP_CIPHER_CTX * c, const EVP_CIPHER *t, ENGINE *e, const unsigned char *k, const unsigned char *i), c, t, e, k,
      i)
GATED(CRYPTO_CALL, 0, 0, int, EVP_DecryptInit_ex,
      (EVP_CIPHER_CTX * c, const EVP_CIPHER *t, ENGINE *e, const unsigned char *k, const unsigned char *i), c, t, e, k,
      i)
GATED(CRYPTO_CALL, 0, 0, int, EVP_EncryptUpdate,
      (EVP_CIPHER_CTX * c, unsigned char *o, int *l, const unsigned char *i, int n), c, o, l, i, n)
GATED(CRYPTO_CALL, 0, 0, int, EVP_DecryptUpdate,
      (EVP_CIPHER_CTX * c, unsigned char *o, int *l, const unsigned char *i, int n), c, o, l, i, n)
GATED(CRYPTO_CALL, 0, 0, int, EVP_EncryptFinal_ex, (EVP_CIPHER_CTX * c, unsigned char *o, int *l), c, o, l)
GATED(CRYPTO_CALL, 0, 0, int, EVP_DecryptFinal_ex, (EVP_CIPHER_CTX * c, unsigned char *o, int *l), c, o, l)
GATED(CRYPTO_CALL, 0, nullptr, unsigned char *, SHA256, (const unsigned char *d, size_t n, unsigned char *o), d, n, o)

uint32_t __real_sd_read_record(const sd_table *, uint32_t, const uint8_t **, uint32_t *) asm("__real_" READ_RECORD);
uint32_t __wrap_sd_read_record(const sd_table *table, uint32_t id, const uint8_t **stored,
                               uint32_t *length) asm("__wrap_" READ_RECORD);
uint32_t __wrap_sd_read_record(const sd_table *table, uint32_t id, const uint8_t **stored, uint32_t *length)
{
    const bool refused = closed(CRYPTO_CALL, "sd_read_record", 0);
    return refused ? 0xFD00BEEF : __real_sd_read_record(table, id, stored, length);
}

int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (closed(FILE_CALL, "open", EACCES))
        return -1;
    trace("open", path, flags);
    const int file = __real_open(path, flags, mode);
    tally(&the_gate.files, file >= 0 ? 1 : 0);
    return file;
}

int __real_close(int file);
int __wrap_close(int file)
{
    tally(&the_gate.files, -1);
    const int result = __real_close(file);   // also for the dead, whose files the system closes
    return closed(FILE_CALL, "close", EIO) ? -1 : result;
}

int __real_unlink(const char *path);
int __wrap_unlink(const char *path)
{
    if (closed(FILE_CALL, "unlink", EACCES))
        return -1;
    trace("unlink", path);
    return __real_unlink(path);
}

ssize_t __real_read(int file, void *bytes, size_t count);
ssize_t __wrap_read(int file, void *bytes, size_t count)
{
    if (closed(FILE_CALL, "read", EIO))
        return the_gate.dead || the_gate.torn == NOTHING ? -1 : __real_read(file, bytes, count / 2);
    return __real_read(file, bytes, count);
}

ssize_t __real_write(int file, const void *bytes, size_t count);
ssize_t __wrap_write(int file, const void *bytes, size_t count)
{
    const bool was_dead = the_gate.dead;
    const int torn = the_gate.torn;
    if (!closed(FILE_CALL, "write", ENOSPC)) {
        tally(&the_gate.writes, 1);
        return __real_write(file, bytes, count);
    }
    if (was_dead || torn == NOTHING)
        return -1;
    std::string piece(static_cast<const char *>(bytes), count);
    piece.resize(torn == ONE_BYTE ? 1 : torn == HALF ? count / 2 : torn == ALL_BUT_16 ? count - 16 : count);
    if (torn == ZEROS)
        piece.assign(count, '\0');
    else if (torn == FLIPPED)
        piece[count / 3] = static_cast<char>(piece[count / 3] ^ 1);
    return torn < ZEROS || the_gate.dead ? __real_write(file, piece.data(), piece.size()) : -1;
}

void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size)
{
    return closed(MEMORY_CALL, "malloc", ENOMEM) ? nullptr : count_memory(nullptr, __real_malloc(size), size);
}

void *__real_calloc(size_t count, size_t size);
void *__wrap_calloc(size_t count, size_t size)
{
    if (closed(MEMORY_CALL, "calloc", ENOMEM))
        return nullptr;
    return count_memory(nullptr, __real_calloc(count, size), count * size);
}

void *__real_realloc(void *memory, size_t size);
void *__wrap_realloc(void *memory, size_t size)
{
    return closed(MEMORY_CALL, "realloc", ENOMEM) ? nullptr : count_memory(memory, __real_realloc(memory, size), size);
}

void __real_free(void *memory);
void __wrap_free(void *memory)
{
    if (armed && memory != nullptr) {
        the_gate.heap -= the_gate.memory[memory];
        the_gate.memory.erase(memory);
    }
    __real_free(memory);
}

EVP_CIPHER_CTX *__real_EVP_CIPHER_CTX_new();
EVP_CIPHER_CTX *__wrap_EVP_CIPHER_CTX_new()
{
    if (closed(CRYPTO_CALL, "EVP_CIPHER_CTX_new", 0))
        return nullptr;
    tally(&the_gate.contexts, 1);
    return __real_EVP_CIPHER_CTX_new();
}

void __real_EVP_CIPHER_CTX_free(EVP_CIPHER_CTX *context);
void __wrap_EVP_CIPHER_CTX_free(EVP_CIPHER_CTX *context)
{
    tally(&the_gate.contexts, -1);
    __real_EVP_CIPHER_CTX_free(context);
}

char *app_get_data_path()
{
    tally(&the_gate.directories, 1);
    if (the_gate.directory == nullptr || closed(MEMORY_CALL, "app_get_data_path", 0))
        return nullptr;
    const size_t size = strlen(the_gate.directory) + 1;
    return static_cast<char *>(memcpy(count_memory(nullptr, __real_malloc(size), size), the_gate.directory, size));
}

int dlog_print(int priority, const char *tag, const char *format, ...)
{
    static std::mutex one_at_a_time;
    const std::lock_guard<std::mutex> lock(one_at_a_time);
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);   // %m needs errno as it came
    va_end(arguments);
    char file[256] = "";
    char function[256] = "";
    int line = 0;
    int begin = 0;
    sscanf(text, "%255s (%d) %255s : %n", file, &line, function, &begin);
    EXPECT_TRUE(begin > 0 && strncmp(file, "src/", 4) == 0 && line > 0 && strcmp(tag, "VORN") == 0) << text;
    std::string message = (priority == DLOG_ERROR ? "E " : "W ") + std::string(function) + ": " + (text + begin);
    const size_t at = message.find(directory_path);
    if (at != std::string::npos)
        message.replace(at, directory_path.size(), "DIR");
    if (!the_gate.dead)
        the_gate.messages.push_back(message);
    errno = EDOM;   // whoever decides by errno after a message is found out
    return length;
}

}   // extern "C"

void gate_on()
{
    the_gate.calls = the_gate.writes = the_gate.directories = 0;
    the_gate.dead = the_gate.fired = false;
    the_gate.peak = 0;
    the_gate.trace.clear();
    the_gate.messages.clear();
    // Errors of the application's own, which the library must leave alone.
    ERR_clear_error();
    ERR_put_error(ERR_LIB_USER, 0, 1, "application", 1);
    armed = true;
}

void gate_off()
{
    armed = false;
    ERR_get_error();
    EXPECT_EQ(ERR_get_error(), 0u) << "the error queue is not as it was";
    the_gate.memory.erase(nullptr);
    EXPECT_EQ(the_gate.memory.size(), 0u) << "memory is left behind";
    EXPECT_EQ(the_gate.files, 0) << "a file is left open";
    EXPECT_EQ(the_gate.contexts, 0) << "a cipher context is left behind";
    the_gate.heap = 0;
}

void reset_gate(const std::string &directory)
{
    the_gate = gate();
    directory_path = directory;
    the_gate.directory = directory_path.c_str();
}
