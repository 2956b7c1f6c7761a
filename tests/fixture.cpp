#include "fixture.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

static std::string bytes_of(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

DataDirectory::DataDirectory()
{
    // Synchronous writes to a disk would take most of the tests' time.
    directory = (access("/dev/shm", W_OK) == 0 ? "/dev/shm" : fs::temp_directory_path().string()) + "/vorn-XXXXXX";
    EXPECT_NE(mkdtemp(directory.data()), nullptr);
    reset_gate(directory);
}

DataDirectory::~DataDirectory()
{
    fs::remove_all(directory);
}

void DataDirectory::put(const std::string &name, const std::string &bytes) const
{
    std::ofstream(path(name), std::ios::binary) << bytes;
}

file_map DataDirectory::files() const
{
    file_map found;
    for (const auto &entry : fs::directory_iterator(directory))
        found[entry.path().filename()] = bytes_of(entry.path());
    return found;
}

void DataDirectory::restore(const file_map &wanted) const
{
    for (const auto &entry : fs::directory_iterator(directory))
        fs::remove_all(entry.path());
    for (const auto &[name, bytes] : wanted)
        put(name, bytes);
}

std::string encrypt(const std::string &plaintext, bool other_key)
{
    static std::string key = bytes_of(STORAGE_KEY_FILE);
    std::string cipher_key = other_key ? text(32) : key.substr(0, 32);
    std::string ciphertext(plaintext.size() + 16, '\0');
    auto *in = reinterpret_cast<const unsigned char *>(plaintext.data());
    auto *out = reinterpret_cast<unsigned char *>(ciphertext.data());
    int first = 0;
    int last = 0;
    const unsigned char zero_iv[16] = {};
    EVP_CIPHER_CTX *context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(context, EVP_aes_256_cbc(), nullptr, reinterpret_cast<unsigned char *>(cipher_key.data()),
                       zero_iv);
    EVP_EncryptUpdate(context, out, &first, in, static_cast<int>(plaintext.size()));
    EVP_EncryptFinal_ex(context, out + first, &last);
    EVP_CIPHER_CTX_free(context);
    ciphertext.resize(static_cast<size_t>(first + last));
    return ciphertext;
}

std::string seal(const std::string &payload, bool other_key)
{
    std::string digest(32, '\0');
    EVP_Digest(payload.data(), payload.size(), reinterpret_cast<unsigned char *>(digest.data()), nullptr, EVP_sha256(),
               nullptr);
    return encrypt(payload + digest, other_key);
}

std::string header_image(uint32_t block_size, uint32_t flags, uint32_t data_size)
{
    std::string image(128, '\0');
    for (unsigned i = 0; i < 4; ++i) {
        image[i] = static_cast<char>(block_size >> (8 * i));
        image[4 + i] = static_cast<char>(flags >> (8 * i));
        image[64 + i] = static_cast<char>(data_size >> (8 * i));
    }
    return image;
}

std::string text(size_t size, int seed)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 31 + i / 251) % 253 + static_cast<size_t>(seed));
    return bytes;
}

file_map data_space(uint32_t size)
{
    file_map made = {{"VORN_HDR_a", seal(header_image(512, 0, size))}};
    for (uint32_t at = 0; at < size; at += 512) {
        std::string block = text(size).substr(at, 512);
        block.resize(512);
        made["VORN_DATA_a_" + std::to_string(at / 512)] = seal(block);
    }
    return made;
}

content read_all()
{
    std::string buffer(1 << 16, '\0');
    const auto read = [&](uint32_t offset) {
        return gated([&] { return vorn_read("a", offset, static_cast<uint32_t>(buffer.size()), buffer.data()); });
    };
    const int32_t count = read(0);
    if (count < 0)
        return {count == -ERANGE ? 0 : count, "", count == -ERANGE};
    const std::string bytes = buffer.substr(0, static_cast<size_t>(count));
    return {0, bytes, read(static_cast<uint32_t>(count)) == -ERANGE};
}
