#define OPERATION "vorn_sd_get_aes_key"

#include "FileBackend/vorn-secure-data/storage_key.h"

#include <cstdlib>

#include "SecureDataStore/secure_data_store.h"
#include "log.h"

unsigned char *vorn_sd_get_aes_key()
{
    const uint8_t *stored = nullptr;
    uint32_t length = 0;
    const uint32_t status = sd_read_record(&sd_records, SD_KEY_RECORD, &stored, &length);
    if (status != 0) {
        LOG_ERROR("Failed to read secure data (%x)", status);
        return nullptr;
    }
    auto *key = static_cast<unsigned char *>(malloc(size_t{length} + 1));
    if (key == nullptr) {
        LOG_ERROR("malloc failed");
        return nullptr;
    }
    for (uint32_t i = 0; i < length; ++i)
        key[i] = sd_unmask_byte(stored, i);
    key[length] = 0;
    return key;
}
