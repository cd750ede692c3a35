// Texts made of parts.
#pragma once

#include <string>

// What std::printf would write with the same arguments.
[[nodiscard]] std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
