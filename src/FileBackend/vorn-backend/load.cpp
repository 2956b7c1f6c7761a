#include "FileBackend/vorn-backend/load.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/cipher.h"
#include "log.h"
#include "platform/app_common.h"

// Each stage of a load bears the operation's name, because its messages do.

// Takes the object out of its plaintext: payload and digest.
static int32_t file_get_data(owned<unsigned char> plaintext, uint32_t length, backend_buffer **out, bool *refused)
{
    if (length <= DIGEST_SIZE) {
        LOG_ERROR("Invalid data size (%d)", static_cast<int>(length));
        *refused = true;
        return BACKEND_ERR_INTEGRITY;
    }
    const uint32_t size = length - DIGEST_SIZE;
    unsigned char digest[DIGEST_SIZE];
    if (SHA256(plaintext.get(), size, digest) == nullptr) {
        LOG_ERROR("SHA256 failed");
        return BACKEND_ERR_DIGEST;
    }
    if (memcmp(digest, plaintext.get() + size, DIGEST_SIZE) != 0) {
        LOG_ERROR("Integrity checking failed");
        *refused = true;
        return BACKEND_ERR_INTEGRITY;
    }
    auto *shrunk = static_cast<unsigned char *>(realloc(plaintext.get(), size));
    if (shrunk == nullptr) {
        LOG_ERROR("realloc failed");
        return -ENOMEM;
    }
    (void)plaintext.release();   // realloc has taken it
    plaintext.reset(shrunk);
    auto *record = static_cast<backend_buffer *>(calloc(1, sizeof(backend_buffer)));
    if (record == nullptr) {
        LOG_ERROR("calloc failed");
        return -ENOMEM;
    }
    record->data = plaintext.release();
    record->size = size;
    *out = record;
    return 0;
}

static int32_t file_get_data(int file, backend_buffer **out, bool *refused)
{
    const off_t length = lseek(file, 0, SEEK_END);
    if (length <= 0 || length > off_t{CIPHERTEXT_MAX}) {
        LOG_ERROR("lseek failed (%ld)", static_cast<long>(length));
        *refused = length == 0;
        return BACKEND_ERR_IO;
    }
    lseek(file, 0, SEEK_SET);   // where it fails, the read is short
    const auto size = static_cast<uint32_t>(length);
    const owned<unsigned char> ciphertext(static_cast<unsigned char *>(calloc(size_t{size} + 1, 1)));
    if (ciphertext == nullptr) {
        LOG_ERROR("calloc failed");
        return -ENOMEM;
    }
    if (read(file, ciphertext.get(), size) != static_cast<ssize_t>(size)) {
        LOG_ERROR("read failed : %m");
        return BACKEND_ERR_IO;
    }
    const keep_error_queue keep;
    owned<unsigned char> plaintext;
    uint32_t plaintext_length = 0;
    const int32_t status = file_decrypt_data(ciphertext.get(), size, &plaintext, &plaintext_length, refused);
    if (status != 0) {
        LOG_ERROR("Failed to decrypt data (%d)", status);
        return status;
    }
    return file_get_data(std::move(plaintext), plaintext_length, out, refused);
}

int32_t file_get_data(const char *path, backend_buffer **out, bool *refused)
{
    const int file = open(path, O_RDONLY | O_NONBLOCK);
    if (file < 0) {
        *refused = errno == ENOENT;
        LOG_ERROR("open for %s failed : %m", path);
        return BACKEND_ERR_ALIAS_STATE;
    }
    const int32_t status = file_get_data(file, out, refused);
    if (close(file) != 0)
        LOG_WARNING("close failed : %m");
    return status;
}

int32_t file_get_data(const object_path &path, backend_buffer **out)
{
    bool refused = false;
    const int32_t status = file_get_data(path.object, out, &refused);
    if (status == 0)
        drop_side_file(path);
    return refused ? recover_object(path, status, out) : status;
}

int32_t file_get_data(const char *alias, backend_buffer **out)
{
    const owned<char> directory(app_get_data_path());
    if (directory == nullptr) {
        LOG_ERROR("app_get_data_path failed");
        return -ENOMEM;
    }
    object_path path;
    if (!set_object_path(&path, directory.get(), alias)) {
        LOG_ERROR("Path for %s is too long", alias);
        return BACKEND_ERR_PATH;
    }
    return file_get_data(path, out);
}
