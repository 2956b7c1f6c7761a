#include "gate.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <mutex>

#include "SecureDataStore/secure_data_store.h"
#include "platform/app_common.h"
#include "platform/dlog.h"

gate the_gate;
std::string gate_problems;

namespace {

bool armed;
std::string directory_path;

const char *base(const char *path)
{
    const char *name = strrchr(path, '/');
    return name != nullptr ? name + 1 : path;
}

std::string with_sign(const char *call, const char *path)
{
    const char *name = base(path);
    const bool is_sign = strstr(name, "OLD_VORN_HDR") != nullptr || strstr(name, "_16777215") != nullptr;
    return std::string(call) + (is_sign ? " sign" : "");
}

bool refused(const char *call, const char *path)
{
    const auto &list = the_gate.on.refused;
    auto found = list.find(call);
    found = found == list.end() ? list.find(with_sign(call, path)) : found;
    if (found != list.end())
        errno = found->second;
    return found != list.end();
}

bool tripped(const char *call, int error)
{
    const disturbance &set = the_gate.set;
    const long number = ++the_gate.calls;
    if (number == set.also) {
        errno = EMFILE;
        return true;
    }
    if (set.trip == 0 || number < set.trip || number - set.trip >= set.span)
        return false;
    the_gate.fired = true;
    the_gate.tripped = call;
    the_gate.dead = set.dies;
    errno = set.error != 0 ? set.error : error;
    return true;
}

void aside(const std::function<void()> &what)
{
    const int error = errno;
    armed = false;
    if (what)
        what();
    armed = true;
    errno = error;
}

// Whether a call fails, with errno set.
bool closed(int kind, const char *call, int error, const char *path = "", const char *second = "")
{
    gate &g = the_gate;
    if (!armed)
        return false;
    if (g.dead) {
        errno = EIO;
        return (kind & FILES) != 0;
    }
    g.system += (kind & FILES) != 0 ? 1 : 0;
    if (refused(call, path) || refused(call, second))
        return true;
    const bool counts = (g.set.counted & kind) != 0 && (g.set.only == nullptr || strcmp(g.set.only, call) == 0);
    if (counts && tripped(call, error))
        return true;
    if (kind == CHANGE)
        aside(g.before_change);
    if (*path != '\0')
        g.trace.push_back(std::string(call) + " " + base(path) + (*second != '\0' ? " " : "") + base(second));
    return false;
}

// Written only when armed: where several threads call, the gate just lets through.
void tally(int *counter, int change)
{
    if (armed)
        *counter += change;
}

void *count_memory(void *was, void *now)
{
    if (armed && now != nullptr) {
        the_gate.memory.erase(was);
        the_gate.memory.insert(now);
    }
    return now;
}

bool no_memory(const char *call, size_t size)
{
    return closed(MEMORY, call, ENOMEM) || (armed && size > the_gate.most_memory);
}

template <typename About>
int fake_type(int result, About *about)
{
    using type = decltype(about->f_type);
    if (armed && result == 0) {
        about->f_type = static_cast<type>(the_gate.on.file_system);
        if (the_gate.on.full)
            about->f_bavail = about->f_bfree = about->f_ffree = 1;
    }
    return result;
}

// What a call is in the sources.
const char *plain_name(const char *name)
{
    const bool is_lstat = strstr(name, "lstat") != nullptr || strstr(name, "lxstat") != nullptr;
    return is_lstat ? "lstat" : strcmp(name, "__xmknod") == 0 ? "mknod" : name;
}

std::string torn_piece(const void *bytes, size_t count, int torn)
{
    std::string piece(static_cast<const char *>(bytes), count);
    if (count < 48)
        torn = std::min<int>(torn, HALF);   // a sign: less than a sector, which is not damaged
    if (torn == ZEROS)
        piece.assign(count, '\0');
    else if (torn == FLIPPED)
        piece[count / 3] = static_cast<char>(piece[count / 3] ^ 1);
    else
        piece.resize(torn == ONE_BYTE ? 1 : torn == HALF ? count / 2 : count - std::min<size_t>(count, 16));
    return piece;
}

}   // namespace

extern "C" {

#define GATED(kind, error, failed, type, name, parameters, arguments, ...)                              \
    type __real_##name parameters;                                                                      \
    type __wrap_##name parameters                                                                       \
    {                                                                                                   \
        const char *call = plain_name(#name);                                                           \
        return closed(kind, call, error __VA_OPT__(, ) __VA_ARGS__) ? failed : __real_##name arguments; \
    }

GATED(LOOK, EIO, -1, off_t, lseek, (int file, off_t offset, int whence), (file, offset, whence))
// Before glibc 2.33, lstat and mknod are inline functions. They call others, which
// take the version of the structure.
#if __GLIBC_PREREQ(2, 33)
GATED(LOOK, EIO, -1, int, lstat, (const char *path, struct stat *about), (path, about), path)
GATED(CHANGE, EIO, -1, int, mknod, (const char *path, mode_t mode, dev_t device), (path, mode, device), path)
#else
GATED(LOOK, EIO, -1, int, __lxstat, (int version, const char *path, struct stat *about), (version, path, about), path)
GATED(CHANGE, EIO, -1, int, __xmknod, (int version, const char *path, mode_t mode, dev_t *device),
      (version, path, mode, device), path)
int __wrap_lstat(const char *path, struct stat *about)
{
    return __wrap___lxstat(_STAT_VER, path, about);
}
int __wrap_mknod(const char *path, mode_t mode, dev_t device)
{
    return __wrap___xmknod(_MKNOD_VER, path, mode, &device);
}
#endif
#if !defined __LP64__ && __GLIBC_PREREQ(2, 34)
GATED(LOOK, EIO, -1, int, __lstat64_time64, (const char *path, struct stat *about), (path, about), path)
#elif __GLIBC_PREREQ(2, 33)
GATED(LOOK, EIO, -1, int, lstat64, (const char *path, struct stat64 *about), (path, about), path)
#else
GATED(LOOK, EIO, -1, int, __lxstat64, (int version, const char *path, struct stat64 *about), (version, path, about),
      path)
#endif
GATED(LOOK, EIO, -1, ssize_t, readlink, (const char *path, char *to, size_t size), (path, to, size), path)
GATED(CHANGE, EACCES, -1, int, unlink, (const char *path), (path), path)
GATED(CHANGE, EIO, -1, int, unlinkat, (int at, const char *path, int flags), (at, path, flags), path)
GATED(CHANGE, EIO, -1, int, link, (const char *from, const char *to), (from, to), from, to)
GATED(CHANGE, EIO, -1, int, rename, (const char *from, const char *to), (from, to), from, to)
GATED(CHANGE, EIO, -1, int, symlink, (const char *to, const char *path), (to, path), path)
#define CIPHER_CALL(kind, name, parameters, arguments) GATED(kind, 0, 0, int, name, parameters, arguments)
using cipher = EVP_CIPHER_CTX *;
using in = const unsigned char *;
using out = unsigned char *;
CIPHER_CALL(CRYPTO, EVP_EncryptInit_ex, (cipher c, const EVP_CIPHER *t, ENGINE *e, in k, in i), (c, t, e, k, i))
CIPHER_CALL(CRYPTO, EVP_DecryptInit_ex, (cipher c, const EVP_CIPHER *t, ENGINE *e, in k, in i), (c, t, e, k, i))
CIPHER_CALL(CRYPTO, EVP_EncryptUpdate, (cipher c, out o, int *l, in i, int n), (c, o, l, i, n))
CIPHER_CALL(CRYPTO, EVP_DecryptUpdate, (cipher c, out o, int *l, in i, int n), (c, o, l, i, n))
CIPHER_CALL(CRYPTO, EVP_EncryptFinal_ex, (cipher c, out o, int *l), (c, o, l))
CIPHER_CALL(CHECK, EVP_DecryptFinal_ex, (cipher c, out o, int *l), (c, o, l))
GATED(CRYPTO, 0, nullptr, out, SHA256, (in d, size_t n, out o), (d, n, o))

uint32_t __real_sd_read_record(const sd_table *, uint32_t, const uint8_t **, uint32_t *) asm("__real_" READ_RECORD);
uint32_t __wrap_sd_read_record(const sd_table *table, uint32_t id, const uint8_t **stored,
                               uint32_t *length) asm("__wrap_" READ_RECORD);
uint32_t __wrap_sd_read_record(const sd_table *table, uint32_t id, const uint8_t **stored, uint32_t *length)
{
    return closed(CRYPTO, "sd_read_record", 0) ? 0xFD00BEEF : __real_sd_read_record(table, id, stored, length);
}

#define OPEN(name)                                                                  \
    int __real_##name(const char *path, int flags, ...);                            \
    int __wrap_##name(const char *path, int flags, ...)                             \
    {                                                                               \
        va_list arguments;                                                          \
        va_start(arguments, flags);                                                 \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0; \
        va_end(arguments);                                                          \
        if (closed((flags & O_CREAT) != 0 ? CHANGE : LOOK, "open", EACCES, path))   \
            return -1;                                                              \
        if (armed)                                                                  \
            the_gate.trace.back() += " " + std::to_string(flags);                   \
        const int file = __real_##name(path, flags, mode);                          \
        tally(&the_gate.files, file >= 0 ? 1 : 0);                                  \
        return file;                                                                \
    }

OPEN(open)

int __real_close(int file);
int __wrap_close(int file)
{
    tally(&the_gate.files, -1);
    const int result = __real_close(file);   // also for the dead, whose files the system closes
    return closed(LOOK, "close", EIO) ? -1 : result;
}

#define STATFS(name)                                                                                  \
    int __real_##name(const char *path, struct name *about);                                          \
    int __wrap_##name(const char *path, struct name *about)                                           \
    {                                                                                                 \
        return closed(LOOK, "statfs", EIO, path) ? -1 : fake_type(__real_##name(path, about), about); \
    }

STATFS(statfs)
OPEN(open64)
STATFS(statfs64)

int __real_fsync(int file);
int __wrap_fsync(int file)
{
    if (closed(LOOK, "fsync", EIO, "directory"))
        return -1;
    if (armed)
        aside(the_gate.after_flush);
    return __real_fsync(file);
}

ssize_t __real_read(int file, void *bytes, size_t count);
ssize_t __wrap_read(int file, void *bytes, size_t count)
{
    if (closed(LOOK, "read", EIO))
        return the_gate.dead || the_gate.set.torn == NOTHING ? -1 : __real_read(file, bytes, count / 2);
    return __real_read(file, bytes, count);
}

ssize_t __real_write(int file, const void *bytes, size_t count);
ssize_t __wrap_write(int file, const void *bytes, size_t count)
{
    const bool was_dead = the_gate.dead;
    const int torn = the_gate.set.torn;
    if (!closed(CHANGE, "write", ENOSPC)) {
        const ssize_t written = __real_write(file, bytes, count);
        if (armed)
            aside(the_gate.after_flush);
        return written;
    }
    if (was_dead || torn == NOTHING || !the_gate.fired)
        return -1;
    const std::string piece = torn_piece(bytes, count, torn);
    return torn < ZEROS || the_gate.dead ? __real_write(file, piece.data(), piece.size()) : -1;
}

#define ALLOCATES(name, parameters, arguments, was, size)                                     \
    void *__real_##name parameters;                                                           \
    void *__wrap_##name parameters                                                            \
    {                                                                                         \
        return no_memory(#name, size) ? nullptr : count_memory(was, __real_##name arguments); \
    }

ALLOCATES(malloc, (size_t size), (size), nullptr, size)
ALLOCATES(calloc, (size_t count, size_t size), (count, size), nullptr, size)
ALLOCATES(realloc, (void *memory, size_t size), (memory, size), memory, size)

void __real_free(void *memory);
void __wrap_free(void *memory)
{
    if (armed)
        the_gate.memory.erase(memory);
    __real_free(memory);
}

EVP_CIPHER_CTX *__real_EVP_CIPHER_CTX_new();
EVP_CIPHER_CTX *__wrap_EVP_CIPHER_CTX_new()
{
    if (closed(CRYPTO, "EVP_CIPHER_CTX_new", 0))
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
    if (the_gate.directory == nullptr || closed(MEMORY, "app_get_data_path", 0))
        return nullptr;
    const size_t size = strlen(the_gate.directory) + 1;
    return static_cast<char *>(memcpy(count_memory(nullptr, __real_malloc(size)), the_gate.directory, size));
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
    if (begin == 0 || strncmp(file, "src/", 4) != 0 || line <= 0 || strcmp(tag, "VORN") != 0)
        gate_problems += "odd message: " + std::string(text) + "\n";
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
    the_gate.calls = the_gate.system = the_gate.directories = 0;
    the_gate.dead = the_gate.fired = false;
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
    gate_problems += ERR_get_error() != 0 ? "the error queue is not as it was\n" : "";
    gate_problems += !the_gate.memory.empty() ? "memory is left behind\n" : "";
    gate_problems += the_gate.files != 0 ? "a file is left open\n" : "";
    gate_problems += the_gate.contexts != 0 ? "a cipher context is left behind\n" : "";
    the_gate.memory.clear();
    the_gate.files = the_gate.contexts = 0;
}

void reset_gate(const std::string &directory, const machine &on)
{
    the_gate = gate();
    the_gate.on = on;
    directory_path = directory;
    the_gate.directory = directory_path.c_str();
}
