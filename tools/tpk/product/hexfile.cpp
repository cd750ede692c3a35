#include "tools/tpk/product/hexfile.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"

#include <algorithm>

#include <sodium.h>

namespace {

constexpr char kDigits[] = "0123456789abcdef";

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

HexFile::HexFile(const std::string& path, const HexShape& shape)
    : path_(path), shape_(shape), text_(readHostFile(path)), bytes_(shape.size()) {
  parse();
}

HexFile::~HexFile() {
  sodium_memzero(text_.data(), text_.size());
  sodium_memzero(bytes_.data(), bytes_.size());
}

void HexFile::fail(const std::string& found) const {
  throw Failure(path_ + ": expected " + std::to_string(shape_.count) + " " + shape_.what + " of " +
                std::to_string(2 * shape_.entrySize) + " lower-case hex digits, found " + found);
}

// A NUL is refused in a comment too: not every reader of text files sees what is behind it.
void HexFile::parse() {
  const std::size_t nul = text_.find('\0');
  if (nul != std::string::npos) fail("a NUL byte in line " + std::to_string(lineOf(nul)));
  for (std::size_t i = 0; i < text_.size();) {
    if (isSpace(text_[i])) {
      ++i;
    } else if (text_[i] == '#') {
      i = std::min(text_.find('\n', i), text_.size());
    } else {
      i = parseGroup(i);
    }
  }
  if (places_.size() != shape_.count) fail(std::to_string(places_.size()));
}

// Digits up to the next that is none: one entry, but the bytes of a number may stand together.
// Returns the place behind them.
std::size_t HexFile::parseGroup(std::size_t begin) {
  const std::size_t end = std::min(text_.find_first_not_of(kDigits, begin), text_.size());
  if (end < text_.size() && !isSpace(text_[end]) && text_[end] != '#')
    fail("a character that is no such digit in line " + std::to_string(lineOf(end)));
  const std::size_t digits = 2 * shape_.entrySize;
  const bool whole = shape_.entrySize == 1 ? (end - begin) % digits == 0 : end - begin == digits;
  if (!whole)
    fail("one of " + std::to_string(end - begin) + " digits in line " +
         std::to_string(lineOf(begin)));
  for (std::size_t i = begin; i < end; i += digits) {
    if (places_.size() < shape_.count)  // more are counted, not kept
      sodium_hex2bin(&bytes_[places_.size() * shape_.entrySize], shape_.entrySize, &text_[i],
                     digits, nullptr, nullptr, nullptr);
    places_.push_back(i);
  }
  return end;
}

std::size_t HexFile::lineOf(std::size_t place) const {
  return 1 + static_cast<std::size_t>(std::count(
                 text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(place), '\n'));
}
