// Random test data that can be had again: the seed is printed, and taken from the environment
// variable TEST_SEED when that is set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

class TestRandom {
 public:
  TestRandom();

  // 0 .. bound - 1
  std::uint64_t below(std::uint64_t bound);
  std::string bytes(std::size_t count);

 private:
  std::mt19937_64 engine_;
};
