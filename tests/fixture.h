// A data directory for each test.
#pragma once

#include <gtest/gtest.h>

#include "directory.h"
#include "gate.h"
#include "vorn.h"

class DataDirectory : public testing::Test, protected directory {
protected:
    DataDirectory() { reset_gate(root); }

    void SetUp() override
    {
        if (root.size() > 160)
            GTEST_SKIP() << "object names would be too long below " << root;
    }

    void TearDown() override
    {
        EXPECT_EQ(gate_problems, "");
        gate_problems.clear();
    }

    void expect_files(const file_map &wanted) const
    {
        EXPECT_EQ(listing(files()), listing(wanted));
        EXPECT_TRUE(files() == wanted) << "in their content";
    }

    static std::string listing(const file_map &files)
    {
        std::string all;
        for (const auto &[name, content] : files)
            all += name + " ";
        return all;
    }

    void start(const file_map &files)
    {
        restore({files, {}});
        reset_gate(root);
    }
};
