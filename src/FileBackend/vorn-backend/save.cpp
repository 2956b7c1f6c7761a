#include "FileBackend/vorn-backend/device_files.h"

#define OPERATION "file_save_data"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/cipher.h"
#include "FileBackend/vorn-backend/object_path.h"
#include "log.h"
#include "platform/app_common.h"

// Encrypts the payload with its digest behind it.
static outcome seal(backend_buffer payload, file_text *ciphertext)
{
    file_text plaintext;
    plaintext.length = payload.size + DIGEST_SIZE;
    plaintext.bytes.reset(static_cast<unsigned char *>(calloc(plaintext.length, 1)));
    if (plaintext.bytes == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "calloc failed");
    memcpy(plaintext.bytes.get(), payload.data, payload.size);
    const keep_error_queue keep;
    if (SHA256(payload.data, payload.size, plaintext.bytes.get() + payload.size) == nullptr)
        return FAILED(BACKEND_ERR_DIGEST, EIO, "SHA256 failed");
    const outcome encrypted = file_encrypt_data(plaintext, ciphertext);
    if (encrypted.status != 0)
        LOG_ERROR("Failed to encrypt data (%d)", encrypted.status);
    return encrypted;
}

// Fills the new file.
static outcome fill(int file, backend_buffer payload)
{
    file_text ciphertext;
    const outcome sealed = seal(payload, &ciphertext);
    if (sealed.status != 0)
        return sealed;
    const ssize_t count = write(file, ciphertext.bytes.get(), ciphertext.length);
    if (count == static_cast<ssize_t>(ciphertext.length))
        return {0};
    if (count >= 0)
        errno = ENOSPC;
    const int error = errno;
    return FAILED(BACKEND_ERR_IO, error, "write failed : %m");
}

outcome file_save_data(const char *alias, backend_buffer bytes)
{
    if (bytes.data == nullptr || bytes.size == 0 || bytes.size > OBJECT_MAX)
        return FAILED(-EINVAL, EINVAL, "Invalid parameter");
    const owned<char> directory(app_get_data_path());
    if (directory == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "app_get_data_path failed");
    char path[PATH_ROOM];
    if (!set_object_path(path, directory.get(), alias))
        return FAILED(BACKEND_ERR_PATH, ENAMETOOLONG, "Path for %s is too long", alias);
    const int file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_DSYNC, 0644);
    if (file < 0) {
        const int error = errno;
        const int32_t status = error == EEXIST ? BACKEND_ERR_ALIAS_STATE : BACKEND_ERR_PATH;
        return FAILED(status, error, "open for %s failed : %m", path);
    }
    outcome saved = fill(file, bytes);
    close(file);   // not checked: the write has already reached storage, or failed
    saved.remains = saved.status != 0;
    return saved;
}
