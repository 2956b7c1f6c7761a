#include "SecureDataStore/secure_data_store.h"

namespace {

template <uint32_t length>
struct masked_bytes {
    uint8_t bytes[length];
};

template <uint32_t length>
constexpr masked_bytes<length> mask(const uint8_t (&plain)[length])
{
    masked_bytes<length> masked{};
    for (uint32_t i = 0; i < length; ++i)
        masked.bytes[i] = plain[i] ^ sd_mask(i);
    return masked;
}

// The plain key lives only while the compiler works: it is a local of a
// function that is never called at run time.
constexpr auto masked_storage_key()
{
    constexpr uint8_t plain[] = {
#include "storage_key.inc"
    };
    static_assert(sizeof plain >= 32, "the cipher takes 32 bytes of the storage key");
    return mask(plain);
}

constexpr auto storage_key = masked_storage_key();
constexpr sd_record all_records[] = {{SD_KEY_RECORD, sizeof storage_key.bytes, storage_key.bytes}};

}   // namespace

const sd_table sd_records = {1, all_records};

uint32_t sd_read_record(const sd_table *table, uint32_t id, const uint8_t **stored, uint32_t *length)
{
    for (uint32_t i = 0; i < table->count; ++i) {
        if (table->records[i].id == id) {
            const uint8_t *found = table->records[i].stored;
            // The optimiser must not know which bytes these are: it could
            // unmask them ahead of time and leave the key in the image.
            asm("" : "+r"(found));
            *stored = found;
            *length = table->records[i].length;
            return 0;
        }
    }
    return SD_ERR_NO_RECORD;
}
