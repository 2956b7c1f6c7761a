/*
 * A data directory for each test, and object files made without the library.
 */
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "FileBackend/vorn-backend/backend.h"
#include "gate.h"
#include "vorn.h"
#include "vorn/data_space.h"

using file_map = std::map<std::string, std::string>;   // by name

class DataDirectory : public testing::Test {
protected:
    DataDirectory();
    ~DataDirectory() override;

    std::string path(const std::string &name) const { return directory + "/" + name; }
    void put(const std::string &name, const std::string &bytes) const;
    file_map files() const;
    void restore(const file_map &wanted) const;

    std::string directory;
};

/* The encryption of `plaintext` under the storage key, or another. */
std::string encrypt(const std::string &plaintext, bool other_key = false);
/* An object file's content. */
std::string seal(const std::string &payload, bool other_key = false);
std::string header_image(uint32_t block_size, uint32_t flags, uint32_t data_size);

/* `size` bytes that differ with their position and with `seed`. */
std::string text(size_t size, int seed = 0);

/* The files of a data space "a" that holds text(size) in blocks of 512 bytes. */
file_map data_space(uint32_t size);

/* What a read of the whole data space "a" gives. `status` is 0 also for an empty
 * one; `complete` when the read went to the end of the data. */
struct content {
    int32_t status;
    std::string bytes;
    bool complete;
};
content read_all();

inline int32_t write_a(uint32_t offset, const std::string &bytes)
{
    return gated([&] { return vorn_write("a", offset, static_cast<uint32_t>(bytes.size()), bytes.data()); });
}
