/*
 * The stores that are compared, and the work that they are given.
 *
 * Each store keeps one data space in one directory. The builds of the library and
 * the least work leave the same files, so they can take turns on one space.
 */
#pragma once

#include <cstdint>

struct store {
    const char *name;

    /* Takes a directory that exists; what was open before is closed. */
    bool (*open)(const char *directory);

    /* Creates a space that holds `size` bytes, a multiple of the block size.
     * It need not be on storage: filling is not what is measured. */
    bool (*fill)(uint32_t block_size, uint32_t size);

    bool (*create)(uint32_t block_size);
    bool (*remove)();
    bool (*write)(uint32_t offset, uint32_t length, const unsigned char *bytes);
    bool (*read)(uint32_t offset, uint32_t length, unsigned char *bytes);
};

extern const store least_work;
extern const store library;
extern const store library_before;
extern const store plain_file;
#ifdef HAVE_SQLCIPHER
extern const store sqlcipher_delete;
extern const store sqlcipher_wal;
#endif

/* Loads libvorn.so, which `library` or `library_before` then calls. */
bool load_library(const store &s, const char *path);

enum class action { CREATE_REMOVE, APPEND, OVERWRITE, READ };

struct workload {
    const char *name;
    action what;
    uint32_t block_size;
    uint32_t space;    // bytes that are there before
    uint32_t length;   // bytes that a call moves
};

constexpr uint32_t KIB = 1024;
constexpr uint32_t MIB = 1024 * KIB;
constexpr uint32_t BLOCK_MAX = 64 * KIB;
constexpr uint32_t LENGTH_MAX = MIB;

extern const workload workloads[];
extern const int workload_count;

/* What every space is filled with, and what is written: LENGTH_MAX bytes. */
const unsigned char *sample_bytes();

/* Call number `turn` of a workload. What moves a block or a part of one meets the
 * blocks in no order, what moves more goes on from turn to turn. */
bool perform(const store &s, const workload &w, uint32_t turn);
