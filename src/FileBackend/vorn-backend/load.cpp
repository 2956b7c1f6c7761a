#include "FileBackend/vorn-backend/device_files.h"

#define OPERATION "file_get_data"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/cipher.h"
#include "FileBackend/vorn-backend/object_path.h"
#include "log.h"

// Reads the whole file.
static int32_t read_ciphertext(int file, file_text *ciphertext)
{
    const off_t length = lseek(file, 0, SEEK_END);
    if (length <= 0 || length > off_t{CIPHERTEXT_MAX})
        return FAILED(BACKEND_ERR_IO, length < 0 ? errno : EBADMSG, "lseek failed (%ld)", long{length});
    ciphertext->length = static_cast<uint32_t>(length);
    ciphertext->bytes.reset(static_cast<unsigned char *>(calloc(size_t{ciphertext->length} + 1, 1)));
    if (ciphertext->bytes == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "calloc failed");
    errno = lseek(file, 0, SEEK_SET) < 0 ? errno : EIO;   // why a read may be short
    if (read(file, ciphertext->bytes.get(), ciphertext->length) == length)
        return 0;
    return FAILED(BACKEND_ERR_IO, errno, "read failed : %m");
}

// Checks the digest behind the payload.
static int32_t check_digest(const file_text &plaintext)
{
    if (plaintext.length <= DIGEST_SIZE)
        return FAILED(BACKEND_ERR_INTEGRITY, EBADMSG, "Invalid data size (%d)", static_cast<int>(plaintext.length));
    const uint32_t size = plaintext.length - DIGEST_SIZE;
    unsigned char digest[DIGEST_SIZE];
    if (SHA256(plaintext.bytes.get(), size, digest) == nullptr)
        return FAILED(BACKEND_ERR_DIGEST, EIO, "SHA256 failed");
    if (memcmp(digest, plaintext.bytes.get() + size, DIGEST_SIZE) != 0)
        return FAILED(BACKEND_ERR_INTEGRITY, EBADMSG, "Integrity checking failed");
    return 0;
}

// Makes a record of the payload.
static int32_t hand_out(file_text plaintext, backend_buffer **out)
{
    const uint32_t size = plaintext.length - DIGEST_SIZE;
    auto *shrunk = static_cast<unsigned char *>(realloc(plaintext.bytes.get(), size));
    if (shrunk == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "realloc failed");
    (void)plaintext.bytes.release();   // realloc has taken it
    plaintext.bytes.reset(shrunk);
    auto *record = static_cast<backend_buffer *>(calloc(1, sizeof(backend_buffer)));
    if (record == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "calloc failed");
    *record = {plaintext.bytes.release(), size};
    *out = record;
    return 0;
}

static int32_t load_file(int file, backend_buffer **out)
{
    file_text ciphertext;
    file_text plaintext;
    int32_t status = read_ciphertext(file, &ciphertext);
    if (status != 0)
        return status;
    const keep_error_queue keep;
    status = file_decrypt_data(ciphertext, &plaintext);
    if (status != 0)
        return FAILED(status, errno, "Failed to decrypt data (%d)", status);
    status = check_digest(plaintext);
    return status != 0 ? status : hand_out(std::move(plaintext), out);
}

int32_t file_get_data(const char *alias, backend_buffer **out, owned<char> *directory)
{
    char path[PATH_ROOM];
    int32_t status = find_object(__func__, alias, path, directory);
    if (status != 0)
        return status;
    const int file = open(path, O_RDONLY | O_NONBLOCK);
    if (file < 0)
        return FAILED(BACKEND_ERR_ALIAS_STATE, errno, "open for %s failed : %m", path);
    status = load_file(file, out);
    const int reason = errno;
    if (close(file) != 0)
        LOG_WARNING("close failed : %m");
    return fail(status, reason);
}
