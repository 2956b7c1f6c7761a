/*
 * The least work: what the work itself costs. It leaves the files that the library
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
#include <charconv>
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
    *std::to_chars(block_number, block_number + 10, index).ptr = '\0';
    return block_path;
}

static bool digest_of(const unsigned char *bytes, uint32_t length, unsigned char *out)
{
    return EVP_DigestInit_ex(digest_context, digest, nullptr) == 1 &&
           EVP_DigestUpdate(digest_context, bytes, length) == 1 &&
           EVP_DigestFinal_ex(digest_context, out, nullptr) == 1;
}

// Leaves the content in `plain` and returns its length, 0 where there is none. The
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

static bool least_open(const char *directory)
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

static bool least_fill(uint32_t block_size, uint32_t size)
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

static bool least_create(uint32_t block_size)
{
    header_record header;
    if (load_header(&header))
        return false;
    header = {block_size, 0, {}, 0, {}};
    return save(header_path, &header, sizeof header);
}

static bool least_remove()
{
    header_record header;
    if (!load_header(&header))
        return false;
    const uint32_t count = (header.data_size + header.block_size - 1) / header.block_size;
    for (uint32_t i = 0; i < count; ++i)
        unlink(path_of(i));
    return unlink(header_path) == 0;
}

// What of a range lies in the block where it begins.
struct piece {
    const char *path;
    uint32_t position;
    uint32_t count;
};

static piece first_piece(const header_record &header, uint32_t offset, uint32_t length)
{
    const uint32_t position = offset % header.block_size;
    return {path_of(offset / header.block_size), position, std::min(length, header.block_size - position)};
}

static bool write_piece(const header_record &header, const piece &p, const unsigned char *bytes)
{
    const bool exists = load(p.path) != 0;
    if (exists)
        memcpy(block, plain, header.block_size);
    else
        memset(block, 0, header.block_size);
    memcpy(block + p.position, bytes, p.count);
    return (exists ? replace : save)(p.path, block, header.block_size);
}

static bool least_write(uint32_t offset, uint32_t length, const unsigned char *bytes)
{
    header_record header;
    if (!load_header(&header))
        return false;
    const uint32_t end = offset + length;
    while (offset < end) {
        const piece p = first_piece(header, offset, end - offset);
        if (!write_piece(header, p, bytes))
            return false;
        offset += p.count;
        bytes += p.count;
    }
    if (end <= header.data_size)
        return true;
    header.data_size = end;
    return replace(header_path, &header, sizeof header);
}

static bool least_read(uint32_t offset, uint32_t length, unsigned char *bytes)
{
    header_record header;
    if (!load_header(&header))
        return false;
    for (const uint32_t end = offset + length; offset < end;) {
        const piece p = first_piece(header, offset, end - offset);
        if (load(p.path) < p.position + p.count)
            return false;
        memcpy(bytes, plain + p.position, p.count);
        offset += p.count;
        bytes += p.count;
    }
    return true;
}

const store least_work = {"least work", least_open, least_fill, least_create, least_remove, least_write, least_read};
