#include "SecureDataStore/secure_data_store.h"

#include <array>

// The plain key lives only while the compiler works: it is a local of a
// function that is never called at run time.
static constexpr auto masked_storage_key()
{
    constexpr uint8_t plain[] = {
#include "storage_key.inc"
    };
    static_assert(sizeof plain >= 32, "the cipher takes 32 bytes of the storage key");
    std::array<uint8_t, sizeof plain> masked{};
    for (uint32_t i = 0; i < sizeof plain; ++i)
        masked[i] = plain[i] ^ sd_mask(i);
    return masked;
}

static constexpr auto storage_key = masked_storage_key();
static constexpr sd_record all_records[] = {{SD_KEY_RECORD, storage_key.size(), storage_key.data()}};

const sd_table sd_records = {1, all_records};

uint32_t sd_read_record(const sd_table *table, uint32_t id, const uint8_t **stored, uint32_t *length)
{
    for (uint32_t i = 0; i < table->count; ++i) {
        if (table->records[i].id == id) {
            *stored = table->records[i].stored;
            // The optimiser must not know which bytes these are: it could
            // unmask them ahead of time and leave the key in the image.
            asm("" : "+r"(*stored));
            *length = table->records[i].length;
            return 0;
        }
    }
    return SD_ERR_NO_RECORD;
}
