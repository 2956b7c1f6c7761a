#define LOGGED_NAME operation

#include "FileBackend/vorn-backend/cipher.h"

#include <openssl/evp.h>

#include <utility>

#include "FileBackend/vorn-secure-data/storage_key.h"
#include "log.h"

namespace {

struct free_context {
    void operator()(EVP_CIPHER_CTX *context) const { EVP_CIPHER_CTX_free(context); }
};

// In what encryption and decryption differ.
struct direction {
    const char *operation;
    const char *init_name;
    const char *update_name;
    const char *final_name;
    decltype(EVP_EncryptInit_ex) *init;
    decltype(EVP_EncryptUpdate) *update;
    decltype(EVP_EncryptFinal_ex) *final;
    int final_reason;   // why the final call fails
};

constexpr direction encryption = {"file_encrypt_data", "EVP_EncryptInit_ex", "EVP_EncryptUpdate", "EVP_EncryptFinal_ex",
                                  EVP_EncryptInit_ex,  EVP_EncryptUpdate,    EVP_EncryptFinal_ex, EIO};
constexpr direction decryption = {"file_decrypt_data", "EVP_DecryptInit_ex", "EVP_DecryptUpdate", "EVP_DecryptFinal_ex",
                                  EVP_DecryptInit_ex,  EVP_DecryptUpdate,    EVP_DecryptFinal_ex, EBADMSG};

int32_t run(const direction &way, const file_text &input, file_text *output)
{
    const char *const operation = way.operation;
    const std::unique_ptr<EVP_CIPHER_CTX, free_context> context(EVP_CIPHER_CTX_new());
    if (context == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "EVP_CIPHER_CTX_new failed");
    const owned<unsigned char> key(vorn_sd_get_aes_key());
    if (key == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "vorn_sd_get_aes_key failed");
    owned<unsigned char> bytes(static_cast<unsigned char *>(calloc(size_t{input.length} + CIPHER_BLOCK + 1, 1)));
    if (bytes == nullptr)
        return FAILED(-ENOMEM, ENOMEM, "calloc failed");
    int result = way.init(context.get(), EVP_aes_256_cbc(), nullptr, key.get(), nullptr);
    if (result != 1)
        return FAILED(-ENOMEM, ENOMEM, "%s failed (%d)", way.init_name, result);
    int updated = 0;
    result = way.update(context.get(), bytes.get(), &updated, input.bytes.get(), static_cast<int>(input.length));
    if (result != 1)
        return FAILED(BACKEND_ERR_CIPHER, EIO, "%s failed (%d)", way.update_name, result);
    int finished = 0;
    result = way.final(context.get(), bytes.get() + updated, &finished);
    if (result != 1)
        return FAILED(BACKEND_ERR_CIPHER, way.final_reason, "%s failed (%d)", way.final_name, result);
    *output = {std::move(bytes), static_cast<uint32_t>(updated + finished)};
    return 0;
}

}   // namespace

int32_t file_decrypt_data(const file_text &ciphertext, file_text *plaintext)
{
    return run(decryption, ciphertext, plaintext);
}

int32_t file_encrypt_data(const file_text &plaintext, file_text *ciphertext)
{
    const char *const operation = encryption.operation;
    if (plaintext.length == 0)
        return FAILED(-EINVAL, EINVAL, "Invalid parameter");
    return run(encryption, plaintext, ciphertext);
}
