// The four operations as an application sees them.

#include <fcntl.h>

#include <climits>
#include <filesystem>
#include <random>
#include <thread>

#include "FileBackend/vorn-backend/cipher.h"
#include "SecureDataStore/secure_data_store.h"
#include "fixture.h"

namespace {

using strings = std::vector<std::string>;

const std::string long_label(32, 'l');
char room[4096];

class DataSpace : public DataDirectory {
protected:
    static int32_t remove() { return vorn_remove("a"); }
    static int32_t write(uint32_t offset, uint32_t length) { return vorn_write("a", offset, length, room); }
    static int32_t read(uint32_t offset, uint32_t length) { return vorn_read("a", offset, length, room); }
};

TEST_F(DataSpace, KeepsPayloadAndDigestEncrypted)
{
    for (const auto &[size, length] : std::map<size_t, size_t>{{1, 48}, {15, 48}, {16, 64}, {128, 176}, {512, 560}}) {
        std::string bytes = text(size);
        const backend_buffer buffer = {reinterpret_cast<unsigned char *>(bytes.data()), static_cast<uint32_t>(size)};
        object_change change;
        EXPECT_EQ(gated([&] { return backend_save_data("one", buffer, &change); }), 0);
        EXPECT_EQ(files(), (file_map{{"one", seal(bytes)}}));
        EXPECT_EQ(files()["one"].size(), length);
        backend_buffer *record = nullptr;
        EXPECT_EQ(backend_get_data("one", &record), 0);
        const loaded_object loaded(record);
        EXPECT_EQ(std::string(reinterpret_cast<char *>(loaded->data), loaded->size), bytes);
        EXPECT_EQ(gated([&] { return backend_remove_alias("one"); }), 0);
    }
}

// What the layers below refuse, though no caller of theirs asks for it.
TEST_F(DataSpace, RestsOnLayersThatCheck)
{
    const uint8_t *stored = nullptr;
    uint32_t length = 7;
    owned<unsigned char> ciphertext;
    EXPECT_EQ(sd_read_record(&sd_records, SD_KEY_RECORD + 1, &stored, &length), SD_ERR_NO_RECORD);
    EXPECT_EQ(file_encrypt_data(nullptr, 0, &ciphertext, &length), -EINVAL);
    EXPECT_TRUE(stored == nullptr && ciphertext == nullptr && length == 7);
}

TEST_F(DataSpace, StoresAsItSays)
{
    EXPECT_EQ(gated([] { return vorn_create(long_label.c_str(), 4096, 0xFFFFFFFF); }), 0);
    EXPECT_EQ(gated([] { return vorn_create("", 512, 0); }), 0);
    EXPECT_EQ(files(), (file_map{{"VORN_HDR_" + long_label, seal(header_image(4096, 0xFFFFFFFF, 0))},
                                 {"VORN_HDR_", seal(header_image(512, 0, 0))}}));
#ifdef __arm__
    ASSERT_EQ(O_RDONLY | O_NONBLOCK, 0x800);
    ASSERT_EQ(O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_DSYNC, 0x18C1);
#endif
    const std::string create_flags = " " + std::to_string(O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_DSYNC);
    const std::string load_flags = " " + std::to_string(O_RDONLY | O_NONBLOCK);
    restore(data_space(600));
    EXPECT_EQ(write_a(550, text(500, 3)), 500);
    EXPECT_EQ(the_gate.trace,
              strings({"open VORN_HDR_a" + load_flags, "open VORN_DATA_a_1" + load_flags, "unlink VORN_DATA_a_1",
                       "open VORN_DATA_a_1" + create_flags, "open VORN_DATA_a_2" + load_flags,
                       "open VORN_DATA_a_2" + create_flags, "unlink VORN_HDR_a", "open VORN_HDR_a" + create_flags}));
    EXPECT_EQ(the_gate.directories, 8);
    EXPECT_EQ(files()["VORN_DATA_a_1"], seal(text(1024).substr(512, 38) + text(500, 3).substr(0, 474)));
    EXPECT_EQ(files()["VORN_DATA_a_2"], seal(text(500, 3).substr(474) + std::string(486, '\0')));
    EXPECT_EQ(files()["VORN_HDR_a"], seal(header_image(512, 0, 1050)));
    restore(data_space(1024));
    EXPECT_EQ(gated([] { return remove(); }), 0);
    EXPECT_EQ(the_gate.trace, strings({"open VORN_HDR_a" + load_flags, "unlink VORN_DATA_a_0", "unlink VORN_DATA_a_1",
                                       "unlink VORN_HDR_a"}));
    EXPECT_EQ(the_gate.directories, 4);
}

// A path of 255 characters is the longest; nothing is done under a cut one.
TEST_F(DataSpace, RefusesALongPath)
{
    const std::string deep = directory + "/" + std::string(243 - directory.size(), 'd');
    std::filesystem::create_directory(deep);
    the_gate.directory = deep.c_str();
    EXPECT_EQ(gated([] { return vorn_create("a", 512, 0); }), 0);
    EXPECT_EQ(gated([] { return vorn_create("ab", 512, 0); }), -1);
    EXPECT_EQ(the_gate.messages, strings({"E file_get_data: Path for VORN_HDR_ab is too long",
                                          "W vorn_read_header: backend_get_data failed (-31522806)",
                                          "W vorn_create: Failed to read old data space (-1)",
                                          "E file_save_data: Path for VORN_HDR_ab is too long",
                                          "E vorn_create: backend_save_data for VORN_HDR_ab failed (-31522806)"}));
    EXPECT_EQ(gated([] { return backend_remove_alias("VORN_HDR_ab"); }), BACKEND_ERR_PATH);
    EXPECT_EQ(the_gate.messages, strings({"E file_remove_alias: Path for VORN_HDR_ab is too long"}));
    EXPECT_EQ(gated([] { return remove(); }), 0);
    EXPECT_TRUE(std::filesystem::is_empty(deep));
}

TEST_F(DataSpace, CountsTo32Bits)
{
    const std::string last = text(512, 4);
    restore({{"VORN_HDR_a", seal(header_image(512, 0, 4294967290))}, {"VORN_DATA_a_8388607", seal(last)}});
    EXPECT_EQ(gated([] { return read(4294967040, 4294967295); }), 250);
    EXPECT_EQ(std::string(room, 250), last.substr(256, 250));
    EXPECT_EQ(gated([] { return write(4294967290, 4096); }), 5);
    EXPECT_EQ(files()["VORN_HDR_a"], seal(header_image(512, 0, 4294967295)));
    EXPECT_EQ(gated([] { return read(4294967294, 1); }), 1);
    EXPECT_EQ(gated([] { return write(4294967294, 9); }), 1);
    EXPECT_EQ(gated([] { return write(4294967295, 1); }), -34);
    EXPECT_EQ(the_gate.messages, strings({"E vorn_write: Offset is far away from data block"}));
    EXPECT_EQ(gated([] { return read(0, 4294967295); }), 0);
    for (const uint32_t block_size : {512u, 0x40000000u, 0x7FFFFE00u, 0xFFFFFE00u}) {
        for (const uint32_t offset : {0u, 511u, 0x7FFFFFFFu, 0x80000000u}) {
            block_walk walk(block_size, offset, INT_MAX);
            uint64_t at = offset;
            for (; walk.left > 0; at += walk.chunk, walk.next(block_size)) {
                ASSERT_EQ(uint64_t(walk.index) * block_size + walk.position, at);
                ASSERT_TRUE(walk.chunk > 0 && uint64_t{walk.position} + walk.chunk <= block_size);
            }
            EXPECT_EQ(walk.done, uint32_t{INT_MAX});
        }
    }
}

// Memory at its peak, beside the key and the directory's name: what a load
// holds, and while a block is changed the block as well.
TEST_F(DataSpace, TakesTwoBlocksToReadAndThreeToWrite)
{
    const size_t rest = 49 + directory.size() + 1;
    for (const uint32_t size : {512u, 4096u, 65536u}) {
        restore({{"VORN_HDR_a", seal(header_image(size, 0, size))}, {"VORN_DATA_a_0", seal(text(size))}});
        EXPECT_EQ(gated([] { return read(0, 1); }), 1);
        EXPECT_EQ(the_gate.peak, 2 * size + 114 + rest);
        EXPECT_EQ(gated([] { return write(0, 1); }), 1);
        EXPECT_EQ(the_gate.peak, 3 * size + 114 + rest);
    }
}

TEST_F(DataSpace, BehavesLikeAnArray)
{
    struct array {
        bool exists = false;
        std::string bytes;
    };
    std::map<std::string, array> arrays;
    std::mt19937 random(20240229);
    const auto below = [&](size_t limit) { return static_cast<uint32_t>(random() % limit); };
    for (int step = 0; step < 4000; ++step) {
        const std::string label(1, static_cast<char>('a' + below(3)));
        array &model = arrays[label];
        const uint32_t offset = below(model.bytes.size() + 20);
        const std::string bytes = text(1 + below(3000), static_cast<int>(below(3)));
        const auto length = static_cast<uint32_t>(bytes.size());
        const uint32_t action = below(20);
        const int32_t refusal = model.exists ? -34 : -61;
        if (action == 0) {
            EXPECT_EQ(gated([&] { return vorn_remove(label.c_str()); }), model.exists ? 0 : -61);
            model = {};
        } else if (action < 3) {
            const int32_t result = gated([&] { return vorn_create(label.c_str(), 512 * (1 + below(3)), action - 1); });
            EXPECT_EQ(result, model.exists && action == 1 ? -17 : 0);
            model = result == 0 ? array{true, ""} : model;
        } else if (action < 11) {
            const bool fits = model.exists && offset <= model.bytes.size();
            EXPECT_EQ(gated([&] { return vorn_write(label.c_str(), offset, length, bytes.data()); }),
                      fits ? static_cast<int32_t>(length) : refusal);
            if (fits)
                model.bytes.replace(offset, length, bytes);
        } else {
            std::string read(length + 1, '#');
            const std::string expected = offset < model.bytes.size() ? model.bytes.substr(offset, length) : "";
            EXPECT_EQ(gated([&] { return vorn_read(label.c_str(), offset, length, read.data()); }),
                      !expected.empty() ? static_cast<int32_t>(expected.size()) : refusal);
            EXPECT_EQ(read, expected + std::string(length + 1 - expected.size(), '#'));
        }
    }
}

TEST_F(DataSpace, SharesNothingBetweenThreads)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            const std::string label = "thread" + std::to_string(t);
            const std::string bytes = text(2000, t);
            std::string read(2000, '\0');
            for (int round = 0; round < 50; ++round) {
                ASSERT_EQ(vorn_create(label.c_str(), 512, VORN_CREATE_REPLACE), 0);
                ASSERT_EQ(vorn_write(label.c_str(), 0, 2000, bytes.data()), 2000);
                ASSERT_EQ(vorn_read(label.c_str(), 0, 2000, read.data()), 2000);
                ASSERT_EQ(read, bytes);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

}   // namespace
