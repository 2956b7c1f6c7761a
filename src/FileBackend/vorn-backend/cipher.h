/*
 * The encryption of an object: AES-256 in CBC mode under the storage key, with
 * the default padding and a zero IV.
 */
#pragma once

#include <openssl/err.h>
#include <openssl/sha.h>

#include <climits>
#include <cstdint>

#include "owned.h"

constexpr uint32_t DIGEST_SIZE = SHA256_DIGEST_LENGTH;
constexpr uint32_t CIPHER_BLOCK = 16;

/* The cipher counts in int. The largest ciphertext with which no count that is
 * made of it overflows, and the largest object that gives such a one. */
constexpr uint32_t CIPHERTEXT_MAX = (INT_MAX - CIPHER_BLOCK - 1) / CIPHER_BLOCK * CIPHER_BLOCK;
constexpr uint32_t OBJECT_MAX = CIPHERTEXT_MAX - 1 - DIGEST_SIZE;

/* Leaves the thread's error queue as the application had it: an entry of ours
 * would make its next TLS call fail for no reason of its own. */
struct keep_error_queue {
    keep_error_queue() { ERR_set_mark(); }
    ~keep_error_queue() { ERR_pop_to_mark(); }
};

/*
 * Decrypts `length` bytes, at most CIPHERTEXT_MAX, into a new buffer of
 * length + 17 bytes. Returns 0, -ENOMEM or BACKEND_ERR_CIPHER; gives nothing
 * unless 0. *refused becomes true when it is the content that is at fault.
 */
int32_t file_decrypt_data(const unsigned char *ciphertext, uint32_t length, owned<unsigned char> *plaintext,
                          uint32_t *plaintext_length, bool *refused);

/*
 * Encrypts `length` bytes, 1 to OBJECT_MAX + DIGEST_SIZE, into a new buffer of
 * length + 17 bytes. Returns 0, -EINVAL, -ENOMEM or BACKEND_ERR_CIPHER; gives
 * nothing unless 0.
 */
int32_t file_encrypt_data(const unsigned char *plaintext, uint32_t length, owned<unsigned char> *ciphertext,
                          uint32_t *ciphertext_length);
