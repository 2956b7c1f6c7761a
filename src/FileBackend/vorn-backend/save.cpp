#include "FileBackend/vorn-backend/device_files.h"

#define OPERATION "file_save_data"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/cipher.h"
#include "FileBackend/vorn-backend/object_path.h"
#include "log.h"

// Encrypts the payload with its digest behind it.
static int32_t seal(backend_buffer payload, file_text *ciphertext)
{
    file_text plaintext;
    plaintext.length = payload.size + DIGEST_SIZE;
    plaintext.bytes.reset(static_cast<unsigned char *>(calloc(plaintext.length, 1)));
    if (plaintext.bytes == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "calloc failed");
    memcpy(plaintext.bytes.get(), payload.data, payload.size);
    const keep_error_queue keep;
    // Of the copy: a caller that changes its bytes meanwhile must not make a damaged object.
    if (SHA256(plaintext.bytes.get(), payload.size, plaintext.bytes.get() + payload.size) == nullptr)
        return FAILED(BACKEND_ERR_DIGEST, EIO, "SHA256 failed");
    const int32_t status = file_encrypt_data(plaintext, ciphertext);
    return status == 0 ? 0 : FAILED(status, errno, "Failed to encrypt data (%d)", status);
}

// Fills the new file.
static int32_t fill(int file, backend_buffer payload)
{
    file_text ciphertext;
    const int32_t status = seal(payload, &ciphertext);
    if (status != 0)
        return status;
    errno = ENOSPC;   // why a write may be short
    if (write(file, ciphertext.bytes.get(), ciphertext.length) == static_cast<ssize_t>(ciphertext.length))
        return 0;
    return FAILED(BACKEND_ERR_IO, errno, "write failed : %m");
}

int32_t file_save_data(const char *alias, backend_buffer bytes)
{
    if (bytes.data == nullptr || bytes.size == 0 || bytes.size > OBJECT_MAX)
        return FAILED(-EINVAL, EINVAL, "Invalid parameter");
    owned<char> directory;
    char path[PATH_ROOM];
    int32_t status = find_object(__func__, alias, path, &directory);
    if (status != 0)
        return status;
    const int file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_DSYNC, 0644);
    if (file < 0)
        return FAILED(errno == EEXIST ? BACKEND_ERR_ALIAS_STATE : BACKEND_ERR_PATH, errno, "open for %s failed : %m",
                      path);
    status = fill(file, bytes);
    const int reason = errno;
    close(file);   // not checked: the write has already reached storage, or failed
    return fail(status, reason);
}
