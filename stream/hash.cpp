#include "stream/hash.h"

#include <algorithm>
#include <cstring>

namespace {

enum : unsigned { kLengthSize = 8, kLengthOffset = Hash::kBlockSize - kLengthSize };
enum : unsigned char { kInnerPad = 0x36, kOuterPad = 0x5C, kEndMark = 0x80 };

void xorAll(unsigned char (&block)[Hash::kBlockSize], unsigned char value) {
  for (unsigned char& byte : block) byte = static_cast<unsigned char>(byte ^ value);
}

}  // namespace

void Hash::update(const void* data, unsigned length) {
  if (countLow_ == 0 && countHigh_ == 0) init();
  const unsigned char* next = static_cast<const unsigned char*>(data);
  while (length > 0) {
    const unsigned filled = countLow_ % kBlockSize;
    const unsigned taken = std::min(length, kBlockSize - filled);
    std::memcpy(block_ + filled, next, taken);
    next += taken;
    length -= taken;
    countLow_ += taken;
    if (countLow_ < taken) ++countHigh_;
    if (filled + taken == kBlockSize) transform();
  }
}

void Hash::finish(bool littleEndianLength) {
  if (countLow_ == 0 && countHigh_ == 0) init();
  unsigned filled = countLow_ % kBlockSize;
  block_[filled++] = kEndMark;
  if (filled > kLengthOffset) {
    std::memset(block_ + filled, 0, kBlockSize - filled);
    transform();
    filled = 0;
  }
  std::memset(block_ + filled, 0, kLengthOffset - filled);
  const std::uint32_t bits[] = {countLow_ << 3, countHigh_ << 3 | countLow_ >> 29};
  for (unsigned i = 0; i < kLengthSize; ++i) {
    const unsigned place = littleEndianLength ? i : kLengthSize - 1 - i;
    block_[kLengthOffset + i] = static_cast<unsigned char>(bits[place / 4] >> 8 * (place % 4));
  }
  transform();
  countLow_ = countHigh_ = 0;
}

// One object does both passes: the inner digest is taken out before the outer pass starts, and the
// key waits in a block of its own because hashing overwrites the block buffer.
void Hash::hmac(const void* key, unsigned keyLength, const void* data, unsigned length,
                unsigned char* out) {
  countLow_ = countHigh_ = 0;
  unsigned char padded[kBlockSize] = {};
  if (keyLength > kBlockSize) {
    update(key, keyLength);
    digest(padded);
  } else if (keyLength > 0) {
    std::memcpy(padded, key, keyLength);
  }

  unsigned char inner[kBlockSize];
  xorAll(padded, kInnerPad);
  update(padded, kBlockSize);
  update(data, length);
  digest(inner);

  xorAll(padded, kInnerPad ^ kOuterPad);
  update(padded, kBlockSize);
  update(inner, digestSize());
  digest(out);
}

void Hash::hmac(const char* key, const void* data, unsigned length, unsigned char* out) {
  hmac(key, static_cast<unsigned>(std::strlen(key)), data, length, out);
}

std::uint32_t Hash::blockWord(unsigned index) const {
  const unsigned char* p = block_ + std::size_t{4} * index;
  return static_cast<std::uint32_t>(p[0]) << 24 | static_cast<std::uint32_t>(p[1]) << 16 |
         static_cast<std::uint32_t>(p[2]) << 8 | static_cast<std::uint32_t>(p[3]);
}

void Hash::putWord(unsigned char* out, std::uint32_t word) {
  out[0] = static_cast<unsigned char>(word >> 24);
  out[1] = static_cast<unsigned char>(word >> 16);
  out[2] = static_cast<unsigned char>(word >> 8);
  out[3] = static_cast<unsigned char>(word);
}
