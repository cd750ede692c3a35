// SHA-1 (FIPS 180-4, section 6.1), the digest of a package's bytes.
#pragma once

#include "stream/hash.h"

class SHA1 : public Hash {
 public:
  enum : unsigned { kDigestSize = 20 };

  void init() override;
  void transform() override;
  unsigned digestSize() const override { return kDigestSize; }
  void digest(unsigned char* out) override;

 private:
  std::uint32_t state_[5] = {};
};
