// How much RAM package files may take while they are installed.
#pragma once

#include <cstdint>
#include <iosfwd>

// Bytes; 0 when meminfo (the text of the kernel's memory report) is not laid out as on the board.
std::uint32_t memoryBudget(std::istream& meminfo);
