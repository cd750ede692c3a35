// The data that make the program one product's: the key that signs its packages, the hash that the
// signature uses, and the digests of packages that are good without a signature
// (docs/product-data.md). Made at build time from the folder PRODUCT_DATA_DIR.
#pragma once

#include <cstdint>

struct ProductData {
  enum : unsigned {
    kKeySize = 32,
    kStateWords = 8,
    kConstantWords = 64,
    kKnownDigests = 953,
    kDigestSize = 20,
  };
  unsigned char publicKey[kKeySize];     // x-coordinate, little-endian
  unsigned char rootSelector[kKeySize];  // field element whose square is -1, little-endian
  std::uint32_t hashState[kStateWords];
  std::uint32_t hashConstants[kConstantWords];
  unsigned char knownDigests[kKnownDigests][kDigestSize];
};

// What was built in.
extern const ProductData kBuiltInProductData;

// What signatures and digests are checked against: the built-in data, unless a host tool has put
// another product's in its place. The data are not copied and must stay.
const ProductData& productData();
void useProductData(const ProductData* data);
