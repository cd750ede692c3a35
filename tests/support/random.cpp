#include "tests/support/random.h"

#include <cstdlib>
#include <iostream>

namespace {

std::uint64_t chooseSeed() {
  const char* const given = std::getenv("TEST_SEED");
  if (given) return std::strtoull(given, nullptr, 10);
  std::random_device device;
  return std::uint64_t{device()} << 32 | device();
}

}  // namespace

TestRandom::TestRandom() {
  const std::uint64_t seed = chooseSeed();
  std::cout << "TEST_SEED=" << seed << '\n';
  engine_.seed(seed);
}

std::uint64_t TestRandom::below(std::uint64_t bound) {
  return std::uniform_int_distribution<std::uint64_t>(0, bound - 1)(engine_);
}

std::string TestRandom::bytes(std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += static_cast<char>(below(256));
  return result;
}
