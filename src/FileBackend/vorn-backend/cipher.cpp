#include "FileBackend/vorn-backend/cipher.h"

#include <openssl/evp.h>

#include <cerrno>
#include <utility>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-secure-data/storage_key.h"
#include "log.h"

namespace {

struct free_context {
    void operator()(EVP_CIPHER_CTX *context) const { EVP_CIPHER_CTX_free(context); }
};
using cipher_context = std::unique_ptr<EVP_CIPHER_CTX, free_context>;

owned<unsigned char> new_output(uint32_t length)
{
    return owned<unsigned char>(static_cast<unsigned char *>(calloc(size_t{length} + CIPHER_BLOCK + 1, 1)));
}

}   // namespace

int32_t file_decrypt_data(const unsigned char *ciphertext, uint32_t length, owned<unsigned char> *plaintext,
                          uint32_t *plaintext_length, bool *refused)
{
    const cipher_context context(EVP_CIPHER_CTX_new());
    if (context == nullptr) {
        LOG_ERROR("EVP_CIPHER_CTX_new failed");
        return -ENOMEM;
    }
    const owned<unsigned char> key(vorn_sd_get_aes_key());
    if (key == nullptr) {
        LOG_ERROR("vorn_sd_get_aes_key failed");
        return -ENOMEM;
    }
    owned<unsigned char> output = new_output(length);
    if (output == nullptr) {
        LOG_ERROR("calloc failed");
        return -ENOMEM;
    }
    int result = EVP_DecryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key.get(), nullptr);
    if (result != 1) {
        LOG_ERROR("EVP_DecryptInit_ex failed (%d)", result);
        return -ENOMEM;
    }
    int updated = 0;
    result = EVP_DecryptUpdate(context.get(), output.get(), &updated, ciphertext, static_cast<int>(length));
    if (result != 1) {
        LOG_ERROR("EVP_DecryptUpdate failed (%d)", result);
        return BACKEND_ERR_CIPHER;
    }
    int finished = 0;
    result = EVP_DecryptFinal_ex(context.get(), output.get() + updated, &finished);
    if (result != 1) {
        LOG_ERROR("EVP_DecryptFinal_ex failed (%d)", result);
        *refused = true;
        return BACKEND_ERR_CIPHER;
    }
    *plaintext = std::move(output);
    *plaintext_length = static_cast<uint32_t>(updated + finished);
    return 0;
}

int32_t file_encrypt_data(const unsigned char *plaintext, uint32_t length, owned<unsigned char> *ciphertext,
                          uint32_t *ciphertext_length)
{
    if (length == 0) {
        LOG_ERROR("Invalid parameter");
        return -EINVAL;
    }
    const cipher_context context(EVP_CIPHER_CTX_new());
    if (context == nullptr) {
        LOG_ERROR("EVP_CIPHER_CTX_new failed");
        return -ENOMEM;
    }
    const owned<unsigned char> key(vorn_sd_get_aes_key());
    if (key == nullptr) {
        LOG_ERROR("vorn_sd_get_aes_key failed");
        return -ENOMEM;
    }
    owned<unsigned char> output = new_output(length);
    if (output == nullptr) {
        LOG_ERROR("calloc failed");
        return -ENOMEM;
    }
    int result = EVP_EncryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key.get(), nullptr);
    if (result != 1) {
        LOG_ERROR("EVP_EncryptInit_ex failed (%d)", result);
        return -ENOMEM;
    }
    int updated = 0;
    result = EVP_EncryptUpdate(context.get(), output.get(), &updated, plaintext, static_cast<int>(length));
    if (result != 1) {
        LOG_ERROR("EVP_EncryptUpdate failed (%d)", result);
        return BACKEND_ERR_CIPHER;
    }
    int finished = 0;
    result = EVP_EncryptFinal_ex(context.get(), output.get() + updated, &finished);
    if (result != 1) {
        LOG_ERROR("EVP_EncryptFinal_ex failed (%d)", result);
        return BACKEND_ERR_CIPHER;
    }
    *ciphertext = std::move(output);
    *ciphertext_length = static_cast<uint32_t>(updated + finished);
    return 0;
}
