/*
 * The storage key provider.
 */
#pragma once

/*
 * Builds the storage key anew: n key bytes, n at least 32, and a zero byte.
 * The caller frees it. Returns NULL, logged, when the key record cannot be read
 * or memory is short.
 */
unsigned char *vorn_sd_get_aes_key();
