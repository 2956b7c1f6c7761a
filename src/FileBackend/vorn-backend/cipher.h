/*
 * The encryption of an object: AES-256 in CBC mode under the storage key, with
 * the default padding and a zero IV.
 */
#pragma once

#include <openssl/err.h>
#include <openssl/sha.h>

#include <climits>

#include "FileBackend/vorn-backend/object.h"

constexpr uint32_t DIGEST_SIZE = SHA256_DIGEST_LENGTH;
constexpr uint32_t CIPHER_BLOCK = 16;

/* The cipher counts in int. This is the largest ciphertext from which no count
 * that overflows is formed, and the largest object with such a ciphertext. */
constexpr uint32_t CIPHERTEXT_MAX = (INT_MAX - CIPHER_BLOCK - 1) / CIPHER_BLOCK * CIPHER_BLOCK;
constexpr uint32_t OBJECT_MAX = CIPHERTEXT_MAX - 1 - DIGEST_SIZE;

/* Leaves the thread's error queue as the application had it: an entry of ours
 * would make the application's next TLS call fail. */
struct keep_error_queue {
    keep_error_queue() { ERR_set_mark(); }
    ~keep_error_queue() { ERR_pop_to_mark(); }
};

/* A plaintext, or a ciphertext. */
struct file_text {
    owned<unsigned char> bytes;
    uint32_t length = 0;
};

/*
 * Decrypts at most CIPHERTEXT_MAX bytes into a new buffer with room for 17 more.
 * Returns 0, -ENOMEM or BACKEND_ERR_CIPHER, with EBADMSG in errno when the bytes
 * are refused. Gives nothing unless 0.
 */
int32_t file_decrypt_data(const file_text &ciphertext, file_text *plaintext);

/*
 * Encrypts 1 to OBJECT_MAX + DIGEST_SIZE bytes into a new buffer with room for 17
 * more. Returns 0, -EINVAL, -ENOMEM or BACKEND_ERR_CIPHER. Gives nothing unless 0.
 */
int32_t file_encrypt_data(const file_text &plaintext, file_text *ciphertext);
