#include "plan/memorybudget.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <istream>

namespace {

enum : std::size_t { kLineSize = 256 };

// In KiB.
constexpr std::int64_t kReserve = 8192;
constexpr std::int64_t kMost = 131072;
constexpr std::uint32_t kBytesPerUnit = 1024;

bool readValue(std::istream& in, const char* label, unsigned& value) {
  char line[kLineSize];
  in.getline(line, sizeof line, '\n');
  const std::size_t length = std::strlen(label);
  if (in.gcount() <= 0 || std::strncmp(line, label, length) != 0) return false;
  char* end = nullptr;
  value = static_cast<unsigned>(std::strtoul(line + length, &end, 10));
  return end != line + length;
}

}  // namespace

std::uint32_t memoryBudget(std::istream& meminfo) {
  unsigned total = 0;  // only to see that the layout is the expected one
  unsigned unused = 0;
  unsigned buffers = 0;
  unsigned cached = 0;
  if (!readValue(meminfo, "MemTotal:", total) || !readValue(meminfo, "MemFree:", unused) ||
      !readValue(meminfo, "Buffers:", buffers) || !readValue(meminfo, "Cached:", cached)) {
    return 0;
  }
  const std::int64_t budget = std::int64_t{unused} + buffers + cached - kReserve;
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(budget, 0, kMost)) * kBytesPerUnit;
}
