/*
 * The floor: what the work itself costs. It leaves the files that the library
 * leaves, by the same primitives and the same calls to open, read, write, close
 * and unlink, and takes every liberty that the library cannot: the buffers, the
 * contexts, the fetched algorithms, the key and the paths are there for good;
 * nothing is checked that the work does not need; and nothing protects an object
 * while it is replaced.
 */
#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "store.h"

static const unsigned char key[] = {
#include "storage_key.inc"
};
static const unsigned char zero_iv[16] = {};

// The image of a header.
struct header_record {
    uint32_t block_size;
    uint32_t flags;
    unsigned char reserved_1[56];
    uint32_t data_size;
    unsigned char reserved_2[60];
};

constexpr uint32_t DIGEST = 32;

static unsigned char plain[BLOCK_MAX + DIGEST + 16];
static unsigned char sealed[BLOCK_MAX + DIGEST + 16];
static unsigned char block[BLOCK_MAX];
static EVP_CIPHER_CTX *encryption;
static EVP_CIPHER_CTX *decryption;
static EVP_MD_CTX *digest_context;
static const EVP_MD *digest;
static char header_path[256];
static char block_path[256];
static char *block_number;   // where in block_path it goes

static bool prepare_primitives()
{
    if (digest != nullptr)
        return true;
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
    const EVP_CIPHER *cipher = EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr);
    digest = EVP_MD_fetch(nullptr, "SHA256", nullptr);
#else
    const EVP_CIPHER *cipher = EVP_aes_256_cbc();
    digest = EVP_sha256();
#endif
    encryption = EVP_CIPHER_CTX_new();
    decryption = EVP_CIPHER_CTX_new();
    digest_context = EVP_MD_CTX_new();
    return EVP_EncryptInit_ex(encryption, cipher, nullptr, key, zero_iv) == 1 &&
           EVP_DecryptInit_ex(decryption, cipher, nullptr, key, zero_iv) == 1;
}

static const char *path_of(uint32_t index)
{
    char digits[10];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + index % 10);
        index /= 10;
    } while (index != 0);
    char *out = block_number;
    while (count > 0)
        *out++ = digits[--count];
    *out = '\0';
    return block_path;
}

static bool digest_of(const unsigned char *bytes, uint32_t length, unsigned char *out)
{
    return EVP_DigestInit_ex(digest_context, digest, nullptr) == 1 &&
           EVP_DigestUpdate(digest_context, bytes, length) == 1 &&
           EVP_DigestFinal_ex(digest_context, out, nullptr) == 1;
}

// Leaves the content in `plain` and tells how much it is; 0: there is none. The
// key is set again as for each object of its own: that belongs to the work.
static uint32_t load(const char *path)
{
    const int file = open(path, O_RDONLY | O_NONBLOCK);
    if (file < 0)
        return 0;
    const off_t size = lseek(file, 0, SEEK_END);
    lseek(file, 0, SEEK_SET);
    const bool fits = size > 0 && size <= static_cast<off_t>(sizeof sealed);
    const bool complete = fits && read(file, sealed, static_cast<size_t>(size)) == size;
    close(file);
    int updated = 0;
    int finished = 0;
    if (!complete || EVP_DecryptInit_ex(decryption, nullptr, nullptr, key, zero_iv) != 1 ||
        EVP_DecryptUpdate(decryption, plain, &updated, sealed, static_cast<int>(size)) != 1 ||
        EVP_DecryptFinal_ex(decryption, plain + updated, &finished) != 1)
        return 0;
    const uint32_t length = static_cast<uint32_t>(updated + finished) - DIGEST;
    unsigned char found[DIGEST];
    return digest_of(plain, length, found) && memcmp(found, plain + length, DIGEST) == 0 ? length : 0;
}

// Takes the content from `plain` and leaves it in `sealed`, as it is stored.
// Returns its length, or -1.
static int seal(uint32_t length)
{
    int updated = 0;
    int finished = 0;
    if (!digest_of(plain, length, plain + length) ||
        EVP_EncryptInit_ex(encryption, nullptr, nullptr, key, zero_iv) != 1 ||
        EVP_EncryptUpdate(encryption, sealed, &updated, plain, static_cast<int>(length + DIGEST)) != 1 ||
        EVP_EncryptFinal_ex(encryption, sealed + updated, &finished) != 1)
        return -1;
    return updated + finished;
}

static bool save(const char *path, const void *bytes, uint32_t length)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_DSYNC, 0644);
    if (file < 0)
        return false;
    memcpy(plain, bytes, length);
    const int size = seal(length);
    const bool complete = size > 0 && write(file, sealed, static_cast<size_t>(size)) == size;
    close(file);
    return complete;
}

static bool replace(const char *path, const void *bytes, uint32_t length)
{
    return unlink(path) == 0 && save(path, bytes, length);
}

static bool load_header(header_record *header)
{
    if (load(header_path) != sizeof *header)
        return false;
    memcpy(header, plain, sizeof *header);
    return true;
}

static bool floor_open(const char *directory)
{
    snprintf(header_path, sizeof header_path, "%s/VORN_HDR_bench", directory);
    const int length = snprintf(block_path, sizeof block_path, "%s/VORN_DATA_bench_", directory);
    block_number = block_path + length;
    return length > 0 && length < static_cast<int>(sizeof block_path) - 12 && prepare_primitives();
}

static bool save_unflushed(const char *path, int size)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_EXCL, 0644);
    const bool complete = file >= 0 && write(file, sealed, static_cast<size_t>(size)) == size;
    return close(file) == 0 && complete;
}

static bool floor_fill(uint32_t block_size, uint32_t size)
{
    const header_record header = {block_size, 0, {}, size, {}};
    memcpy(plain, &header, sizeof header);
    if (!save_unflushed(header_path, seal(sizeof header)))
        return false;
    memcpy(plain, sample_bytes(), block_size);
    const int sealed_size = seal(block_size);
    for (uint32_t i = 0; i < size / block_size; ++i) {
        if (!save_unflushed(path_of(i), sealed_size))
            return false;
    }
    return true;
}

static bool floor_create(uint32_t block_size)
{
    header_record header;
    if (load_header(&header))
        return false;
    header = {block_size, 0, {}, 0, {}};
    return save(header_path, &header, sizeof header);
}

static bool floor_remove()
{
    header_record header;
    if (!load_header(&header))
        return false;
    const uint32_t count = (header.data_size + header.block_size - 1) / header.block_size;
    for (uint32_t i = 0; i < count; ++i)
        unlink(path_of(i));
    return unlink(header_path) == 0;
}

static bool floor_write(uint32_t offset, uint32_t length, const unsigned char *bytes)
{
    header_record header;
    if (!load_header(&header))
        return false;
    for (uint32_t done = 0; done < length;) {
        const uint32_t position = (offset + done) % header.block_size;
        const uint32_t count = std::min(length - done, header.block_size - position);
        const char *path = path_of((offset + done) / header.block_size);
        const bool exists = load(path) != 0;
        if (exists)
            memcpy(block, plain, header.block_size);
        else
            memset(block, 0, header.block_size);
        memcpy(block + position, bytes + done, count);
        if (!(exists ? replace : save)(path, block, header.block_size))
            return false;
        done += count;
    }
    if (offset + length <= header.data_size)
        return true;
    header.data_size = offset + length;
    return replace(header_path, &header, sizeof header);
}

static bool floor_read(uint32_t offset, uint32_t length, unsigned char *bytes)
{
    header_record header;
    if (!load_header(&header))
        return false;
    for (uint32_t done = 0; done < length;) {
        const uint32_t position = (offset + done) % header.block_size;
        const uint32_t count = std::min(length - done, header.block_size - position);
        if (load(path_of((offset + done) / header.block_size)) < position + count)
            return false;
        memcpy(bytes + done, plain + position, count);
        done += count;
    }
    return true;
}

const store plain_floor = {"floor", floor_open, floor_fill, floor_create, floor_remove, floor_write, floor_read};
