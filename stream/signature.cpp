#include "stream/signature.h"

#include "stream/curve25519.h"
#include "stream/productdata.h"
#include "stream/producthash.h"

#include <cstring>

namespace {

const ProductData* current = &kBuiltInProductData;

}  // namespace

const ProductData& productData() { return *current; }

void useProductData(const ProductData* data) { current = data; }

bool goodSignature(const unsigned char* digest) {
  for (const auto& known : productData().knownDigests)
    if (std::memcmp(known, digest, sizeof known) == 0) return true;
  return false;
}

bool goodSignatureRecord(const SignatureRecord& record, const unsigned char* digest) {
  if (std::memcmp(record.digest(), digest, SignatureRecord::kDigestSize) != 0) return false;

  unsigned char k[Field25519::kSize];
  signatureMultiplier(productData(), digest, record.check(), k);
  unsigned char joint[Field25519::kSize];
  if (!jointMultiple(record.scalar(), k, productData().publicKey, productData().rootSelector,
                     joint))
    return false;

  ProductHash hash;
  hash.update(joint, sizeof joint);
  unsigned char expected[ProductHash::kDigestSize];
  hash.digest(expected);
  return std::memcmp(expected, record.check(), SignatureRecord::kCheckSize) == 0;
}

// Clamping makes it a multiple of 8, the curve's cofactor, whose highest bit is bit 254.
void signatureMultiplier(const ProductData& data, const unsigned char* digest,
                         const unsigned char* check, unsigned char* out) {
  enum : unsigned { kCheckPlace = 8 };

  ProductHash hash(data);
  hash.update(digest, SignatureRecord::kDigestSize);
  hash.digest(out);
  for (unsigned i = 0; i < SignatureRecord::kCheckSize; ++i) out[kCheckPlace + i] ^= check[i];
  out[0] &= 0xf8;
  out[31] = static_cast<unsigned char>((out[31] & 0x7f) | 0x40);
}
