#define LOGGED_NAME operation

#include "FileBackend/vorn-backend/cipher.h"

#include <openssl/evp.h>

#include <cerrno>
#include <utility>

#include "FileBackend/vorn-secure-data/storage_key.h"
#include "log.h"

namespace {

struct free_context {
    void operator()(EVP_CIPHER_CTX *context) const { EVP_CIPHER_CTX_free(context); }
};

// What an encryption or a decryption works with.
struct cipher_tools {
    std::unique_ptr<EVP_CIPHER_CTX, free_context> context;
    owned<unsigned char> key;
    owned<unsigned char> output;
};

int32_t prepare(const char *operation, uint32_t length, cipher_tools *tools)
{
    tools->context.reset(EVP_CIPHER_CTX_new());
    if (tools->context == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "EVP_CIPHER_CTX_new failed");
    tools->key.reset(vorn_sd_get_aes_key());
    if (tools->key == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "vorn_sd_get_aes_key failed");
    tools->output.reset(static_cast<unsigned char *>(calloc(size_t{length} + CIPHER_BLOCK + 1, 1)));
    if (tools->output == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "calloc failed");
    return 0;
}

}   // namespace

int32_t file_decrypt_data(const file_text &ciphertext, file_text *plaintext)
{
    const char *const operation = __func__;
    cipher_tools with;
    const int32_t prepared = prepare(operation, ciphertext.length, &with);
    if (prepared != 0)
        return prepared;
    int result = EVP_DecryptInit_ex(with.context.get(), EVP_aes_256_cbc(), nullptr, with.key.get(), nullptr);
    if (result != 1)
        return FAILED(-ENOMEM, ENOMEM, "EVP_DecryptInit_ex failed (%d)", result);
    int updated = 0;
    result = EVP_DecryptUpdate(with.context.get(), with.output.get(), &updated, ciphertext.bytes.get(),
                               static_cast<int>(ciphertext.length));
    if (result != 1)
        return FAILED(BACKEND_ERR_CIPHER, EIO, "EVP_DecryptUpdate failed (%d)", result);
    int finished = 0;
    result = EVP_DecryptFinal_ex(with.context.get(), with.output.get() + updated, &finished);
    if (result != 1)
        return FAILED(BACKEND_ERR_CIPHER, EBADMSG, "EVP_DecryptFinal_ex failed (%d)", result);
    *plaintext = {std::move(with.output), static_cast<uint32_t>(updated + finished)};
    return 0;
}

int32_t file_encrypt_data(const file_text &plaintext, file_text *ciphertext)
{
    const char *const operation = __func__;
    if (plaintext.length == 0)
        return FAILED(-EINVAL, EINVAL, "Invalid parameter");
    cipher_tools with;
    const int32_t prepared = prepare(operation, plaintext.length, &with);
    if (prepared != 0)
        return prepared;
    int result = EVP_EncryptInit_ex(with.context.get(), EVP_aes_256_cbc(), nullptr, with.key.get(), nullptr);
    if (result != 1)
        return FAILED(-ENOMEM, ENOMEM, "EVP_EncryptInit_ex failed (%d)", result);
    int updated = 0;
    result = EVP_EncryptUpdate(with.context.get(), with.output.get(), &updated, plaintext.bytes.get(),
                               static_cast<int>(plaintext.length));
    if (result != 1)
        return FAILED(BACKEND_ERR_CIPHER, EIO, "EVP_EncryptUpdate failed (%d)", result);
    int finished = 0;
    result = EVP_EncryptFinal_ex(with.context.get(), with.output.get() + updated, &finished);
    if (result != 1)
        return FAILED(BACKEND_ERR_CIPHER, EIO, "EVP_EncryptFinal_ex failed (%d)", result);
    *ciphertext = {std::move(with.output), static_cast<uint32_t>(updated + finished)};
    return 0;
}
