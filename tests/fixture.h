// A data directory for each test.
#pragma once

#include <gtest/gtest.h>

#include "directory.h"
#include "gate.h"
#include "vorn.h"

class DataDirectory : public testing::Test, protected directory {
protected:
    DataDirectory() { reset_gate(root); }

    void TearDown() override
    {
        EXPECT_EQ(gate_problems, "");
        gate_problems.clear();
    }

    void start(const file_map &files)
    {
        restore({files, {}});
        reset_gate(root);
    }
};
