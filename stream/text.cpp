#include "stream/text.h"

#include <cstdarg>
#include <cstdio>

std::string formatted(const char* format, ...) {
  std::string text;
  char start[256];  // nearly always all
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(start, sizeof start, format, arguments);
  va_end(arguments);
  if (length >= static_cast<int>(sizeof start)) {
    text.resize(static_cast<std::size_t>(length));
    va_start(arguments, format);
    // The end of a string may be written to, with the NUL that is there.
    std::vsnprintf(&text[0], text.size() + 1, format, arguments);
    va_end(arguments);
  } else if (length > 0) {
    text = start;
  }
  return text;
}
