// What the console has to show of a status.
#pragma once

#include <cstddef>
#include <string>

inline std::string drawn(const std::string& text) { return "\033[?25l\r" + text + "\r\033[?25h"; }
inline std::string spaces(std::size_t count) { return std::string(count, ' '); }
