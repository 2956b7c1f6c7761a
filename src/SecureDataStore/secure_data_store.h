/*
 * The secure data store: records that stand in the library's image in masked
 * form and are unmasked byte by byte.
 */
#pragma once

#include <cstdint>

struct sd_record {
    uint32_t id;
    uint32_t length;         // in bytes
    const uint8_t *stored;   // the masked bytes
};

struct sd_table {
    uint32_t count;
    const sd_record *records;
};

/* The library's record table. Record 1 is the storage key, 32 bytes or more. */
extern const sd_table sd_records;

constexpr uint32_t SD_KEY_RECORD = 1;
constexpr uint32_t SD_ERR_NO_RECORD = 0xFD000001;

/*
 * Finds a record: sets *stored to its masked bytes, which stay the store's, and
 * *length to their number, and returns 0. Returns SD_ERR_NO_RECORD and sets
 * nothing when the table has no such record. Threads may call it at any time.
 */
uint32_t sd_read_record(const sd_table *table, uint32_t id, const uint8_t **stored, uint32_t *length);

/* What is laid over byte `index` of a record. Masking and unmasking are the
 * same step, one of them done by the compiler. */
constexpr uint8_t sd_mask(uint32_t index)
{
    uint32_t mixed = (index + 0x6B43A9B5u) * 0x9E3779B1u;
    mixed ^= mixed >> 15;
    mixed *= 0x85EBCA77u;
    return static_cast<uint8_t>(mixed >> 24);
}

/* Byte `index` of the record whose masked bytes are `stored`. */
inline uint8_t sd_unmask_byte(const uint8_t *stored, uint32_t index)
{
    return stored[index] ^ sd_mask(index);
}
