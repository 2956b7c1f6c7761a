// Arbitrary bytes as object files, in $VORN_DATA_DIR, under the four calls.

#include <cassert>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <fuzzer/FuzzedDataProvider.h>
#include <set>

#include "FileBackend/vorn-backend/cipher.h"
#include "vorn.h"
#include "vorn/data_space.h"

enum { ABSENT, RAW, ENCRYPTED, SEALED, HEADER };
enum { REMOVE, CREATE, WRITE, READ };

// A small device, with no memory for blocks as large as a header may say.
extern "C" void *__real_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size)
{
    return size > 1 << 20 ? nullptr : __real_malloc(size);
}

// A number of at most so many bits; each length is as likely as another.
static uint32_t number(FuzzedDataProvider &input, int bits)
{
    return input.ConsumeIntegral<uint32_t>() >> input.ConsumeIntegralInRange<int>(32 - bits, 31);
}

// Makes an object's file. Tells of a header with more blocks than anybody would
// wait for while they are removed.
static bool put(const std::string &path, FuzzedDataProvider &input, int kind)
{
    alignas(data_space_header) uint8_t bytes[2048 + DIGEST_SIZE] = {};
    auto &header = reinterpret_cast<data_space_header &>(bytes);
    uint32_t length = kind == HEADER ? sizeof header : number(input, 11);
    input.ConsumeData(bytes, length);
    if (kind == HEADER) {
        header.block_size = input.ConsumeBool() ? 512 : number(input, 32);
        header.data_size = number(input, 32);
    }
    const bool endless = length == sizeof header && header.data_size / std::max(header.block_size, 512u) > 1000;
    SHA256(bytes, length, bytes + length);
    length += kind >= SEALED ? DIGEST_SIZE : 0;
    owned<uint8_t> encrypted;
    const bool plain = kind == RAW || file_encrypt_data(bytes, length, &encrypted, &length) != 0;
    std::ofstream(path).write(reinterpret_cast<char *>(plain ? bytes : encrypted.get()), length);
    return endless;
}

static int32_t call(int which, uint32_t first, uint32_t second, std::vector<char> *bytes)
{
    static const std::set<int32_t> refusals[] = {
        {-22, -61, -1}, {-22, -17, -12, -1}, {-22, -61, -1, -5, -34, -12}, {-22, -61, -1, -5, -34}};
    const int32_t result = which == REMOVE   ? vorn_remove("a")
                           : which == CREATE ? vorn_create("a", first % 2 == 0 ? first << 8 : first, second)
                           : which == WRITE  ? vorn_write("a", first, second, bytes->data())
                                             : vorn_read("a", first, second, bytes->data());
    assert(result < 0 ? refusals[which].count(result) == 1 : result <= (which >= WRITE ? int64_t{second} : 0));
    return result;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const size_t part = std::min(size, size_t{88});   // 8 calls
    FuzzedDataProvider calls(data, part);
    FuzzedDataProvider objects(data + part, size - part);
    const std::string directory = getenv("VORN_DATA_DIR");
    for (const auto &file : std::filesystem::directory_iterator(directory))
        std::filesystem::remove(file);
    bool endless = false;
    for (const char *name : {"/VORN_HDR_a", "/VORN_DATA_a_0", "/VORN_DATA_a_1", "/VORN_OLD_VORN_HDR_a",
                             "/VORN_OLD_VORN_DATA_a_0", "/VORN_OLD_VORN_DATA_a_1"})
        if (const int kind = objects.ConsumeIntegralInRange<int>(ABSENT, HEADER))
            endless = put(directory + name, objects, kind) || endless;
    while (calls.remaining_bytes() > 0) {
        const int which = calls.ConsumeIntegralInRange<int>(endless ? WRITE : REMOVE, READ);
        const uint32_t first = number(calls, 32);
        const uint32_t second = number(calls, 12);
        std::vector<char> bytes(second, '#');   // ends where its last byte does
        const int32_t result = call(which, first, second, &bytes);
        const uint32_t count = result > 0 ? static_cast<uint32_t>(result) : 0;
        assert(std::count(bytes.begin() + count, bytes.end(), '#') == second - count);   // read, and none behind
        bytes.assign(count + 1, '\0');
        assert(which != WRITE || count == 0 || call(READ, first, count, &bytes) == result);
        assert(which != WRITE || std::count(bytes.begin(), bytes.end(), '#') == count);
        assert(which > CREATE || result != 0 || call(READ, 0, 1, &bytes) == (which == CREATE ? -34 : -61));
        for (const char *name : {"/VORN_HDR_a", "/VORN_OLD_VORN_HDR_a"})
            assert(which != REMOVE || result != 0 || !std::filesystem::exists(directory + name));
    }
    return 0;
}
