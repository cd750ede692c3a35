#include "tools/tpk/product/newproduct.h"

#include "tools/tpk/product/digestlist.h"
#include "tools/tpk/product/signer.h"

#include <cstring>

#include <sodium.h>

// 2^((p-1)/4): its square is 2^((p-1)/2) = -1, because 2 is no square modulo p. With the power
// c = 2^((p+3)/8) at hand, c^2 = 2^((p+3)/4) is 2^((p-1)/4) * 2.
Field25519 rootOfMinusOne() {
  const Field25519 two = Field25519::fromSmall(2);
  return two.rootCandidate().squared() * two.inverse();
}

namespace {

// One of the two roots, as the dice fall: which one it is decides which point the key is.
void chooseRootSelector(unsigned char* out) {
  const Field25519 root = rootOfMinusOne();
  (randombytes_uniform(2) == 0 ? root : Field25519() - root).toBytes(out);
}

}  // namespace

std::unique_ptr<ProductData> makeProductData(SigningKey& key) {
  readySodium();
  auto data = std::make_unique<ProductData>();
  crypto_core_ed25519_scalar_random(key.bytes);
  baseMultiple(key.bytes, data->publicKey);
  chooseRootSelector(data->rootSelector);
  randombytes_buf(data->hashState, sizeof data->hashState);
  randombytes_buf(data->hashConstants, sizeof data->hashConstants);
  std::memset(data->knownDigests, kFreePlaceByte, sizeof data->knownDigests);
  return data;
}
