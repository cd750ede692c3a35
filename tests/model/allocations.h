// Counts what the tests of this executable take from the heap.
#pragma once

#include <cstddef>

// Blocks taken and not given back.
std::size_t liveBlocks();

// Size of the largest block taken since the last call of forgetLargestBlock().
std::size_t largestBlock();
void forgetLargestBlock();
