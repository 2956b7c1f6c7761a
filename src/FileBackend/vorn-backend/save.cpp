#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/cipher.h"
#include "log.h"
#include "platform/app_common.h"

// Fills the new file. It bears the operation's name, because its messages do.
static int32_t file_save_data(int file, backend_buffer bytes)
{
    const uint32_t length = bytes.size + DIGEST_SIZE;
    const owned<unsigned char> plaintext(static_cast<unsigned char *>(calloc(length, 1)));
    if (plaintext == nullptr) {
        LOG_ERROR("calloc failed");
        return -ENOMEM;
    }
    memcpy(plaintext.get(), bytes.data, bytes.size);
    const keep_error_queue keep;
    if (SHA256(bytes.data, bytes.size, plaintext.get() + bytes.size) == nullptr) {
        LOG_ERROR("SHA256 failed");
        return BACKEND_ERR_DIGEST;
    }
    owned<unsigned char> ciphertext;
    uint32_t ciphertext_length = 0;
    const int32_t status = file_encrypt_data(plaintext.get(), length, &ciphertext, &ciphertext_length);
    if (status != 0) {
        LOG_ERROR("Failed to encrypt data (%d)", status);
        return status;
    }
    if (write(file, ciphertext.get(), ciphertext_length) != static_cast<ssize_t>(ciphertext_length)) {
        LOG_ERROR("write failed : %m");
        return BACKEND_ERR_IO;
    }
    return 0;
}

int32_t file_save_data(const char *alias, backend_buffer bytes, object_change *change)
{
    if (bytes.data == nullptr || bytes.size == 0 || bytes.size > OBJECT_MAX) {
        LOG_ERROR("Invalid parameter");
        return -EINVAL;
    }
    const owned<char> directory(app_get_data_path());
    if (directory == nullptr) {
        LOG_ERROR("app_get_data_path failed");
        return -ENOMEM;
    }
    const char *path = change->path.object;
    if (!set_object_path(&change->path, directory.get(), alias)) {
        LOG_ERROR("Path for %s is too long", alias);
        return BACKEND_ERR_PATH;
    }
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_DSYNC;
    const int file = change->mark_new() ? open(path, flags, 0644) : -1;
    if (file < 0) {
        const int error = errno;
        LOG_ERROR("open for %s failed : %m", path);
        return error == EEXIST ? BACKEND_ERR_ALIAS_STATE : BACKEND_ERR_PATH;
    }
    change->created = true;
    const int32_t status = file_save_data(file, bytes);
    close(file);   // not checked: the write has already reached storage, or failed
    if (status == 0)
        change->drop();
    return status;
}
