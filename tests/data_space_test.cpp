// The four operations as an application sees them.

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <thread>

#include "FileBackend/vorn-backend/backend.h"
#include "FileBackend/vorn-backend/cipher.h"
#include "SecureDataStore/secure_data_store.h"
#include "fixture.h"
#include "vorn/walk.h"
#include "worlds.h"

namespace {

using strings = std::vector<std::string>;

const std::string long_label(32, 'l');
char room[4096];

class DataSpace : public DataDirectory {
protected:
    static int32_t remove() { return vorn_remove("a"); }
    static int32_t write(uint32_t offset, uint32_t length) { return vorn_write("a", offset, length, room); }
    static int32_t read(uint32_t offset, uint32_t length) { return vorn_read("a", offset, length, room); }

    // What was done on the objects' own names.
    static strings plain_sequence()
    {
        strings found;
        for (const std::string &call : the_gate.trace)
            if ((call.find("open ") == 0 || call.find("unlink ") == 0) && call.find("VORN_OLD") == std::string::npos)
                found.push_back(call);
        return found;
    }
};

// What the layers below refuse, though no caller of theirs asks for it.
TEST_F(DataSpace, RestsOnLayersThatCheck)
{
    const uint8_t *stored = nullptr;
    uint32_t length = 7;
    file_text ciphertext;
    EXPECT_EQ(sd_read_record(&sd_records, SD_KEY_RECORD + 1, &stored, &length), SD_ERR_NO_RECORD);
    EXPECT_EQ(file_encrypt_data({}, &ciphertext), -EINVAL);
    EXPECT_TRUE(stored == nullptr && ciphertext.bytes == nullptr && length == 7);
}

// Whoever watches the objects' own names sees the plain sequence.
TEST_F(DataSpace, StoresAsItSays)
{
    umask(0);
    EXPECT_EQ(gated([] { return vorn_create(long_label.c_str(), 4096, 0xFFFFFFFF); }), 0);
    EXPECT_EQ(gated([] { return vorn_create("", 512, 0); }), 0);
    expect_files((file_map{{"VORN_HDR_" + long_label, seal(header_image(4096, 0xFFFFFFFF, 0))},
                           {"VORN_HDR_", seal(header_image(512, 0, 0))}}));
    struct stat about;
    EXPECT_EQ(lstat(path("VORN_HDR_").c_str(), &about), 0);
    EXPECT_EQ(about.st_mode, S_IFREG | 0644u);
#ifdef __arm__
    ASSERT_EQ(O_RDONLY | O_NONBLOCK, 0x800);
    ASSERT_EQ(O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_DSYNC, 0x18C1);
#endif
    const std::string create_flags = " " + std::to_string(O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_DSYNC);
    const std::string load_flags = " " + std::to_string(O_RDONLY | O_NONBLOCK);
    start(there(600).files("a"));
    EXPECT_EQ((call{call::WRITE, 550, 500, 3}.run()), 500);
    EXPECT_EQ(plain_sequence(),
              strings({"open VORN_HDR_a" + load_flags, "open VORN_DATA_a_1" + load_flags, "unlink VORN_DATA_a_1",
                       "open VORN_DATA_a_1" + create_flags, "open VORN_DATA_a_2" + load_flags,
                       "open VORN_DATA_a_2" + create_flags, "unlink VORN_HDR_a", "open VORN_HDR_a" + create_flags}));
    EXPECT_EQ(the_gate.directories, 8);
    expect_files((call{call::WRITE, 550, 500, 3}.done(there(600)).files("a")));
    start(there(1024).files("a"));
    EXPECT_EQ(gated([] { return remove(); }), 0);
    EXPECT_EQ(plain_sequence(), strings({"open VORN_HDR_a" + load_flags, "unlink VORN_DATA_a_0", "unlink VORN_DATA_a_1",
                                         "unlink VORN_HDR_a"}));
    EXPECT_EQ(the_gate.directories, 4);
}

// System calls of one call, and where the order of directory operations is not
// known, one flush of the directory before the first of them that matters.
TEST_F(DataSpace, TakesFewSystemCalls)
{
    const auto count = [&](const call &what, uint32_t file_system) {
        const std::string block = text(4096);
        start({{"VORN_HDR_a", seal(header_image(4096, 0, 8192))},
               {"VORN_DATA_a_0", seal(block)},
               {"VORN_DATA_a_1", seal(block)}});
        the_gate.on.file_system = file_system;
        EXPECT_GE(what.run(), 0);
        return the_gate.system;
    };
    EXPECT_LE(count({call::READ, 0, 4096}, TMPFS), 11);
    EXPECT_LE(count({call::WRITE, 8192, 4096}, TMPFS), 19);
    EXPECT_LE(count({call::WRITE, 100, 50}, TMPFS), 20);
    for (const uint32_t unordered : {BTRFS, F2FS, STRANGE})
        for (const call &what : {call{call::WRITE, 100, 5000}, call{call::REMOVE}, call{call::CREATE, 512, 1}}) {
            count(what, unordered);
            const auto is = [](const char *begin) {
                return [=](const std::string &traced) { return traced.rfind(begin, 0) == 0; };
            };
            const auto &trace = the_gate.trace;
            EXPECT_EQ(std::count_if(trace.begin(), trace.end(), is("fsync")), what.kind == call::CREATE ? 2 : 1);
            EXPECT_LT(std::find_if(trace.begin(), trace.end(), is("fsync")),
                      std::find_if(trace.begin(), trace.end(), is("unlink ")));
            EXPECT_LT(std::find_if(trace.begin(), trace.end(), is("symlink")),
                      std::find_if(trace.begin(), trace.end(), is("fsync")));
        }
}

// A path of 255 characters is the longest; nothing is done under a cut one.
TEST_F(DataSpace, RefusesALongPath)
{
    const std::string deep = path(std::string(240 - root.size(), 'd'));
    std::filesystem::create_directory(deep);
    the_gate.directory = deep.c_str();
    EXPECT_EQ(gated([] { return vorn_create("a", 512, 0); }), 0);
    EXPECT_EQ((call{call::WRITE, 0, 700}.run()), 700);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(deep), {}), 3);
    EXPECT_EQ(the_gate.trace.end(),
              std::find_if(the_gate.trace.begin(), the_gate.trace.end(),
                           [](const std::string &call) { return call.find("VORN_OLD") != std::string::npos; }));
    EXPECT_EQ(gated([] { return vorn_create("abcde", 512, 0); }), -1);
    EXPECT_EQ(the_gate.messages, strings({"E file_get_data: Path for VORN_HDR_abcde is too long",
                                          "W vorn_read_header: backend_get_data failed (-31522806)",
                                          "W vorn_create: Failed to read old data space (-1)",
                                          "E file_save_data: Path for VORN_HDR_abcde is too long",
                                          "E vorn_create: backend_save_data for VORN_HDR_abcde failed (-31522806)"}));
    EXPECT_EQ(gated([] { return backend_remove_alias("VORN_HDR_abcde"); }), BACKEND_ERR_PATH);
    EXPECT_EQ(the_gate.messages, strings({"E file_remove_alias: Path for VORN_HDR_abcde is too long"}));
    EXPECT_EQ(gated([] { return remove(); }), 0);
    EXPECT_TRUE(std::filesystem::is_empty(deep));
}

TEST_F(DataSpace, CountsTo32Bits)
{
    const std::string last = text(512, 4);
    start({{"VORN_HDR_a", seal(header_image(512, 0, 4294967290))}, {"VORN_DATA_a_8388607", seal(last)}});
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
