#define OPERATION operation

#include "FileBackend/vorn-backend/cipher.h"

#include <openssl/evp.h>

#include "FileBackend/vorn-secure-data/storage_key.h"
#include "log.h"

struct free_context {
    void operator()(EVP_CIPHER_CTX *context) const { EVP_CIPHER_CTX_free(context); }
};

// In what encryption and decryption differ.
struct direction {
    const char *operation;
    const char *name;   // in the names of the calls
    decltype(EVP_EncryptInit_ex) *init;
    decltype(EVP_EncryptUpdate) *update;
    decltype(EVP_EncryptFinal_ex) *final;
    int final_reason;   // why the final call fails
};

static constexpr direction encryption = {"file_encrypt_data", "Encrypt",           EVP_EncryptInit_ex,
                                         EVP_EncryptUpdate,   EVP_EncryptFinal_ex, EIO};
static constexpr direction decryption = {"file_decrypt_data", "Decrypt",           EVP_DecryptInit_ex,
                                         EVP_DecryptUpdate,   EVP_DecryptFinal_ex, EBADMSG};

static int32_t run(const direction &way, const file_text &input, file_text *output)
{
    const char *const operation = way.operation;
    if (input.length == 0)
        return FAILED(-EINVAL, EINVAL, "Invalid parameter");
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
        return FAILED(-ENOMEM, ENOMEM, "EVP_%sInit_ex failed (%d)", way.name, result);
    int updated = 0;
    result = way.update(context.get(), bytes.get(), &updated, input.bytes.get(), static_cast<int>(input.length));
    if (result != 1)
        return FAILED(BACKEND_ERR_CIPHER, EIO, "EVP_%sUpdate failed (%d)", way.name, result);
    int finished = 0;
    result = way.final(context.get(), bytes.get() + updated, &finished);
    if (result != 1)
        return FAILED(BACKEND_ERR_CIPHER, way.final_reason, "EVP_%sFinal_ex failed (%d)", way.name, result);
    *output = {std::move(bytes), static_cast<uint32_t>(updated + finished)};
    return 0;
}

int32_t file_decrypt_data(const file_text &ciphertext, file_text *plaintext)
{
    return run(decryption, ciphertext, plaintext);
}

int32_t file_encrypt_data(const file_text &plaintext, file_text *ciphertext)
{
    return run(encryption, plaintext, ciphertext);
}
