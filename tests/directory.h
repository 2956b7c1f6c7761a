/*
 * The data directory as the tests see it, and object files made without the
 * library.
 */
#pragma once

#include <cstdint>
#include <map>
#include <string>

// What stands in a directory, by name: a file's bytes, "-> " and the target of a
// symbolic link, or "directory".
using file_map = std::map<std::string, std::string>;

struct snapshot {
    file_map files;
    std::map<std::string, std::string> same;   // further names of a file, and its first
};

class directory {
public:
    directory();
    ~directory();

    std::string path(const std::string &name) const { return root + "/" + name; }
    void put(const std::string &name, const std::string &content) const;
    snapshot take() const;
    file_map files() const { return take().files; }
    void clear() const;
    void restore(const snapshot &wanted) const;

    std::string root;
};

/* The encryption of `plaintext` under the storage key, or another. */
std::string encrypt(const std::string &plaintext, bool other_key = false);
std::string digest(const std::string &payload);
/* An object file's content. */
std::string seal(const std::string &payload, bool other_key = false);
std::string header_image(uint32_t block_size, uint32_t flags, uint32_t data_size);

/* `size` bytes that differ with their position and with `seed`. */
std::string text(size_t size, int seed = 0);
