// Block hash functions with 64-byte blocks (FIPS 180-4): buffering, counting and padding here, the
// compression function in the derived class. An object can be used again: after finish() the next
// update() starts a fresh hash.
#pragma once

#include <cstddef>
#include <cstdint>

class Hash {
 public:
  enum : unsigned { kBlockSize = 64 };

  // Sets the chaining words to the algorithm's initial values.
  virtual void init() = 0;
  // Processes the block buffer.
  virtual void transform() = 0;
  virtual ~Hash() = default;
  // Bytes that digest() writes.
  virtual unsigned digestSize() const = 0;
  // Finishes the hash and writes digestSize() bytes.
  virtual void digest(unsigned char* out) = 0;

  void update(const void* data, unsigned length);
  // Pads and processes the last blocks; the bit count is stored least or most significant byte
  // first.
  void finish(bool littleEndianLength);

  // HMAC (RFC 2104) of data under key; writes digestSize() bytes.
  void hmac(const void* key, unsigned keyLength, const void* data, unsigned length,
            unsigned char* out);
  void hmac(const char* key, const void* data, unsigned length, unsigned char* out);

 protected:
  // Whole 32-bit words of a block and of a digest are big-endian in all algorithms of this family.
  std::uint32_t blockWord(unsigned index) const;
  static void putWord(unsigned char* out, std::uint32_t word);

  std::uint32_t countLow_ = 0;  // bytes so far
  std::uint32_t countHigh_ = 0;
  unsigned char block_[kBlockSize] = {};
};
