#include "tests/model/allocations.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

std::size_t live = 0;
std::size_t largest = 0;

}  // namespace

std::size_t liveBlocks() { return live; }
std::size_t largestBlock() { return largest; }
void forgetLargestBlock() { largest = 0; }

void* operator new(std::size_t size) {
  void* block = std::malloc(size);
  if (!block) std::abort();
  ++live;
  largest = std::max(largest, size);
  return block;
}

void operator delete(void* block) noexcept {
  if (block) --live;
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
