/*
 * Owner of memory that free() releases.
 */
#pragma once

#include <cstdlib>
#include <memory>

struct free_memory {
    void operator()(void *memory) const { free(memory); }
};

template <typename T>
using owned = std::unique_ptr<T, free_memory>;
