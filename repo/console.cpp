// The console is a serial line: what happens now stands in its last line, drawn over in place with
// carriage returns, and messages scroll above it.
#include "package/package.h"
#include "repo/repo.h"
#include "stream/ipackstream.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iostream>

namespace {

constexpr char kHideCursor[] = "\033[?25l";
constexpr char kShowCursor[] = "\033[?25h";

enum : unsigned {
  kMessageSize = 256,   // of a message without its prefix, its NUL included
  kBlankWidth = 79,     // of what a message blanks before it is written
  kProgressWidth = 76,  // of label and bar without the closing bracket
};

std::uint64_t filledWidth(std::uint64_t position, std::uint64_t total, std::uint64_t width) {
  if (total == 0) return 0;
  return std::min(position, total) * width / total;
}

}  // namespace

void Repo::setStatus(const std::string& text) {
  if (quiet || text == status) return;
  std::string line = kHideCursor;
  line += '\r';
  line += text;
  if (status.size() > text.size()) line.append(status.size() - text.size(), ' ');
  line += '\r';
  line += kShowCursor;
  std::cout << line << std::flush;
  status = text;
}

void Repo::showProgress(const ipackstream& in, const std::string& label) {
  std::string text = label + " [";
  const std::size_t width = text.size() < kProgressWidth ? kProgressWidth - text.size() : 0;
  const auto filled = static_cast<std::size_t>(filledWidth(in.position(), in.totalSize(), width));
  text.append(filled, '#');
  text.append(width - filled, ' ');
  text += ']';
  setStatus(text);
}

void Repo::report(const char* prefix, const char* format, va_list arguments) {
  if (quiet) return;
  char text[kMessageSize];
  if (std::vsnprintf(text, sizeof text, format, arguments) < 0) text[0] = '\0';
  const std::string message = std::string(prefix) + text;
  if (!status.empty()) {
    std::cout << '\r' << std::string(kBlankWidth, ' ') << '\r' << std::flush;
  }
  std::cout << message << std::endl;
  if (!status.empty()) std::cout << status << std::flush;
  logLines.push_back(message);
}

void Repo::log(const char* format, ...) {
  setStatus(std::string());
  va_list arguments;
  va_start(arguments, format);
  report("", format, arguments);
  va_end(arguments);
}

void Repo::warn(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  report("WARNING: ", format, arguments);
  va_end(arguments);
}

void Repo::error(const char* format, ...) {
  setStatus(std::string());
  va_list arguments;
  va_start(arguments, format);
  report("ERROR: ", format, arguments);
  va_end(arguments);
}

void Repo::enableAndReport(const std::vector<Package*>& list, bool verbose) {
  for (Package* package : list) {
    const std::string fullName = package->getFullName();
    if (verbose) setStatus("enabling " + fullName + "...");
    package->enable();
    if (verbose) log("enabled %s", fullName.c_str());
  }
}
