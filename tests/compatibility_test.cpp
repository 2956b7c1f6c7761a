/*
 * The files that an earlier release has written, with a library that has the key
 * of that time. RELEASE is their folder, where `notes` is what the data space of
 * that name holds; the one called `empty` holds nothing.
 */
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "vorn.h"

namespace fs = std::filesystem;

static std::string directory;

extern "C" int dlog_print(int /*priority*/, const char * /*tag*/, const char * /*format*/, ...)
{
    return 0;
}

extern "C" char *app_get_data_path()
{
    return strdup(directory.c_str());
}

class Release : public testing::Test {
protected:
    Release()
    {
        directory = (fs::temp_directory_path() / "vorn-XXXXXX").string();
        EXPECT_NE(mkdtemp(directory.data()), nullptr);
        for (const auto &entry : fs::directory_iterator(RELEASE)) {
            if (entry.path().filename().string().rfind("VORN_", 0) == 0)
                fs::copy(entry.path(), directory);
        }
        std::ifstream file(RELEASE "/notes", std::ios::binary);
        notes.assign(std::istreambuf_iterator<char>(file), {});
    }
    ~Release() override { fs::remove_all(directory); }

    std::string notes;
};

static std::string read_notes()
{
    std::string bytes(10000, '\0');
    const int32_t count = vorn_read("notes", 0, static_cast<uint32_t>(bytes.size()), bytes.data());
    return count < 0 ? std::to_string(count) : bytes.substr(0, static_cast<size_t>(count));
}

TEST_F(Release, IsRead)
{
    char byte;
    EXPECT_GT(notes.size(), 1024u);
    EXPECT_EQ(read_notes(), notes);
    EXPECT_EQ(vorn_read("empty", 0, 1, &byte), -34);
    EXPECT_EQ(vorn_create("empty", 512, 0), -17);
}

TEST_F(Release, IsChangedAndRemoved)
{
    const std::string change(700, '!');
    notes.replace(400, 700, change);
    notes += change;
    EXPECT_EQ(vorn_write("notes", 400, 700, change.data()), 700);
    EXPECT_EQ(vorn_write("notes", static_cast<uint32_t>(notes.size()) - 700, 700, change.data()), 700);
    EXPECT_EQ(vorn_write("empty", 0, 700, change.data()), 700);
    EXPECT_EQ(read_notes(), notes);
    EXPECT_EQ(vorn_remove("notes"), 0);
    EXPECT_EQ(vorn_remove("empty"), 0);
    EXPECT_TRUE(fs::is_empty(directory));
}
