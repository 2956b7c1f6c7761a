#include "directory.h"

#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

// Synchronous writes to a disk would take most of the tests' time. A place that the
// user names is taken all the same.
static std::string place()
{
    const char *named = getenv("TMPDIR");
    if (named != nullptr && *named != '\0')
        return named;
    return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

directory::directory()
{
    root = place() + "/vorn-XXXXXX";
    if (mkdtemp(root.data()) == nullptr)
        abort();
}

directory::~directory()
{
    std::filesystem::remove_all(root);
}

void directory::put(const std::string &name, const std::string &content) const
{
    const bool made = content == "directory"         ? mkdir(path(name).c_str(), 0700) == 0
                      : content.rfind("-> ", 0) == 0 ? symlink(content.c_str() + 3, path(name).c_str()) == 0
                                                     : bool(std::ofstream(path(name), std::ios::binary) << content);
    if (!made)
        abort();
}

static std::string slurp(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

snapshot directory::take() const
{
    snapshot taken;
    std::map<ino_t, std::string> first;
    for (const auto &entry : std::filesystem::directory_iterator(root)) {
        struct stat about;
        const std::string name = entry.path().filename();
        const bool is_link = entry.is_symlink();
        taken.files[name] = is_link                ? "-> " + std::filesystem::read_symlink(entry).string()
                            : entry.is_directory() ? "directory"
                                                   : slurp(entry);
        if (!is_link && stat(entry.path().c_str(), &about) == 0)
            if (const auto [known, is_first] = first.emplace(about.st_ino, name); !is_first)
                taken.same[name] = known->second;
    }
    return taken;
}

void directory::clear() const
{
    for (const auto &entry : std::filesystem::directory_iterator(root))
        std::filesystem::remove_all(entry);
}

void directory::restore(const snapshot &wanted) const
{
    clear();
    for (const auto &[name, content] : wanted.files)
        if (wanted.same.count(name) == 0)
            put(name, content);
    for (const auto &[name, first] : wanted.same)
        if (link(path(first).c_str(), path(name).c_str()) != 0)
            abort();
}

std::string encrypt(const std::string &plaintext, bool other_key)
{
    static const std::string own_key = slurp(STORAGE_KEY_FILE);
    const std::string key = other_key ? text(32) : own_key;
    std::string ciphertext(plaintext.size() + 16, '\0');
    auto *in = reinterpret_cast<const unsigned char *>(plaintext.data());
    auto *out = reinterpret_cast<unsigned char *>(ciphertext.data());
    int first = 0;
    int last = 0;
    const unsigned char zero_iv[16] = {};
    EVP_CIPHER_CTX *context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(context, EVP_aes_256_cbc(), nullptr, reinterpret_cast<const unsigned char *>(key.data()),
                       zero_iv);
    EVP_EncryptUpdate(context, out, &first, in, static_cast<int>(plaintext.size()));
    EVP_EncryptFinal_ex(context, out + first, &last);
    EVP_CIPHER_CTX_free(context);
    ciphertext.resize(static_cast<size_t>(first + last));
    return ciphertext;
}

std::string digest(const std::string &payload)
{
    std::string sum(32, '\0');
    EVP_Digest(payload.data(), payload.size(), reinterpret_cast<unsigned char *>(sum.data()), nullptr, EVP_sha256(),
               nullptr);
    return sum;
}

std::string seal(const std::string &payload, bool other_key)
{
    return encrypt(payload + digest(payload), other_key);
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
