/*
 * What the heap is asked for between heap_start and heap_print, which prints the
 * peak in blocks, the number of allocations, and the bytes that were not freed.
 */
#pragma once

#include <cstdint>

void heap_start();
void heap_print(uint32_t block_size);
