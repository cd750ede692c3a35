#include "stream/text.h"

#include <cstdarg>
#include <cstdio>

std::string formatted(const char* format, ...) {
  std::string text;
  char start[256];  // nearly always all
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(start, sizeof start, format, arguments);
  if (length >= static_cast<int>(sizeof start)) {
    text.resize(static_cast<std::size_t>(length));
    // The end of a string may be written to, with the NUL that is there.
    std::vsnprintf(&text[0], text.size() + 1, format, again);
  } else if (length > 0) {
    text = start;
  }
  va_end(again);
  va_end(arguments);
  return text;
}
