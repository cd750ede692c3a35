// H, the 256-bit hash that the signature uses: SHA-256 (FIPS 180-4, section 6.2) with the product's
// own initial state and round constants.
#pragma once

#include "stream/hash.h"
#include "stream/productdata.h"

class ProductHash : public Hash {
 public:
  enum : unsigned { kDigestSize = 32 };

  // The data are not copied and must outlive the object.
  explicit ProductHash(const ProductData& data = productData()) : data_(data) {}

  void init() override;
  void transform() override;
  unsigned digestSize() const override { return kDigestSize; }
  void digest(unsigned char* out) override;

 private:
  const ProductData& data_;
  std::uint32_t state_[ProductData::kStateWords] = {};
};
