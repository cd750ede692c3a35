#include "repo/console.h"

#include "stream/ipackstream.h"
#include "stream/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace {

constexpr char kHideCursor[] = "\033[?25l";
constexpr char kShowCursor[] = "\033[?25h";

constexpr int kBlankWidth = 79;     // of what a message blanks before it is written
constexpr int kProgressWidth = 74;  // of label and bar, without what stands around the bar
constexpr char kFullBar[] =
    "#####################################"
    "#####################################";
static_assert(sizeof kFullBar - 1 == kProgressWidth);

enum : unsigned { kMessageSize = 256 };  // of a message without its prefix, its NUL included

// width * position / total, at most width. Counted, not divided: the processor has no instruction
// for it.
int filledWidth(std::uint64_t position, std::uint64_t total, unsigned width) {
  unsigned filled = 0;
  if (total == 0) return 0;
  for (std::uint64_t left = position * width; filled < width && left >= total; left -= total) {
    ++filled;
  }
  return static_cast<int>(filled);
}

}  // namespace

void print(const char* text) {
  std::cout.write(text, static_cast<std::streamsize>(std::strlen(text))).flush();
}

void Reporter::setStatus(const std::string& text) {
  if (quiet || text == status) return;
  const int rest = static_cast<int>(status.size()) - static_cast<int>(text.size());
  print(formatted("%s\r%s%*s\r%s", kHideCursor, text.c_str(), std::max(rest, 0), "", kShowCursor)
            .c_str());
  status = text;
}

void Reporter::showProgress(const ipackstream& in, const std::string& label) {
  const int width = std::max(kProgressWidth - static_cast<int>(label.size()), 0);
  const int filled = filledWidth(in.position(), in.totalSize(), static_cast<unsigned>(width));
  setStatus(formatted("%s [%.*s%*s]", label.c_str(), filled, kFullBar, width - filled, ""));
}

void Reporter::report(const char* prefix, const char* format, va_list arguments) {
  if (quiet) return;
  char text[kMessageSize];
  if (std::vsnprintf(text, sizeof text, format, arguments) < 0) text[0] = '\0';
  const std::string message = formatted("%s%s", prefix, text);
  if (!status.empty()) print(formatted("\r%*s\r", kBlankWidth, "").c_str());
  print(formatted("%s\n%s", message.c_str(), status.c_str()).c_str());
  logLines.push_back(message);
}

void Reporter::log(const char* format, ...) {
  setStatus(std::string());
  va_list arguments;
  va_start(arguments, format);
  report("", format, arguments);
  va_end(arguments);
}

void Reporter::warn(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  report("WARNING: ", format, arguments);
  va_end(arguments);
}

void Reporter::error(const char* format, ...) {
  setStatus(std::string());
  va_list arguments;
  va_start(arguments, format);
  report("ERROR: ", format, arguments);
  va_end(arguments);
}
