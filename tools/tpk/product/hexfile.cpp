#include "tools/tpk/product/hexfile.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"

#include <algorithm>

#include <sodium.h>

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

unsigned digitValue(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  return 16;
}

}  // namespace

HexFile::HexFile(const std::string& path, const HexShape& shape)
    : path_(path), shape_(shape), text_(readHostFile(path)) {
  bytes_.reserve(shape.size());  // no copies of a secret left behind
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
  std::size_t end = begin;
  while (end < text_.size() && digitValue(text_[end]) < 16) ++end;
  if (end < text_.size() && !isSpace(text_[end]) && text_[end] != '#')
    fail("a character that is no such digit in line " + std::to_string(lineOf(end)));
  const std::size_t digits = 2 * shape_.entrySize;
  const bool whole = shape_.entrySize == 1 ? (end - begin) % digits == 0 : end - begin == digits;
  if (!whole)
    fail("one of " + std::to_string(end - begin) + " digits in line " +
         std::to_string(lineOf(begin)));
  for (std::size_t i = begin; i < end; i += 2) {
    if ((i - begin) % digits == 0) places_.push_back(i);
    if (bytes_.size() < shape_.size())  // more are counted, not kept
      bytes_.push_back(
          static_cast<unsigned char>(digitValue(text_[i]) * 16 + digitValue(text_[i + 1])));
  }
  return end;
}

std::size_t HexFile::lineOf(std::size_t place) const {
  return 1 + static_cast<std::size_t>(std::count(
                 text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(place), '\n'));
}

void appendHex(std::string& text, const unsigned char* bytes, std::size_t size) {
  const char digits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < size; ++i) {
    text += digits[bytes[i] >> 4];
    text += digits[bytes[i] & 15];
  }
}
