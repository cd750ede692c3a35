#include "tools/tpk/signer.h"

#include "stream/curve25519.h"
#include "stream/producthash.h"
#include "stream/signature.h"
#include "tools/tpk/failure.h"

#include <cstring>

#include <sodium.h>

namespace {

enum : std::size_t { kScalar = crypto_core_ed25519_SCALARBYTES };

// A scalar that must not stay in memory.
struct Secret {
  Secret() = default;
  ~Secret() { sodium_memzero(bytes, sizeof bytes); }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  unsigned char bytes[kScalar] = {};
};

// From 64 bytes, so that every scalar is as good as equally likely.
void randomScalar(Secret& scalar) {
  unsigned char wide[crypto_core_ed25519_NONREDUCEDSCALARBYTES];
  do {
    randombytes_buf(wide, sizeof wide);
    crypto_core_ed25519_scalar_reduce(scalar.bytes, wide);
  } while (sodium_is_zero(scalar.bytes, sizeof scalar.bytes));
  sodium_memzero(wide, sizeof wide);
}

void reduceMultiplier(const unsigned char* k, unsigned char* reduced) {
  unsigned char wide[crypto_core_ed25519_NONREDUCEDSCALARBYTES] = {};
  std::memcpy(wide, k, Field25519::kSize);
  crypto_core_ed25519_scalar_reduce(reduced, wide);
}

// Whether the verifier's B + P is -(a - 1)*B rather than (a + 1)*B.
bool takesNegative(const ProductData& data, const SigningKey& key) {
  const unsigned char one[kScalar] = {1};
  unsigned char sum[Field25519::kSize];
  if (!jointMultiple(one, one, data.publicKey, data.rootSelector, sum))
    throw Failure("public-key: is on no point of the curve");

  Secret next;
  crypto_core_ed25519_scalar_add(next.bytes, key.bytes, one);
  unsigned char expected[Field25519::kSize];
  baseMultiple(next.bytes, expected);
  return std::memcmp(sum, expected, sizeof sum) != 0;
}

}  // namespace

void readySodium() {
  if (sodium_init() < 0) throw Failure("libsodium: finds no source of random numbers");
}

// libsodium computes on the twisted Edwards form of the curve; its base point is the one with x = 9
// of the Montgomery form.
void baseMultiple(const unsigned char* scalar, unsigned char* x) {
  unsigned char point[crypto_core_ed25519_BYTES];
  if (crypto_scalarmult_ed25519_base_noclamp(point, scalar) != 0 ||
      crypto_sign_ed25519_pk_to_curve25519(x, point) != 0)
    throw Failure("signing-key: is a multiple of the group's order");
}

Signer::Signer(const ProductData& data, const SigningKey& key) : data_(data) {
  readySodium();
  // Reduced, because the arithmetic below takes 253 bits.
  reduceMultiplier(key.bytes, key_.bytes);
  unsigned char publicKey[ProductData::kKeySize];
  baseMultiple(key_.bytes, publicKey);
  if (std::memcmp(publicKey, data.publicKey, sizeof publicKey) != 0)
    throw Failure("signing-key: is not the key of public-key");
  negative_ = takesNegative(data, key_);
}

SignatureRecord Signer::sign(const unsigned char* digest) const {
  SignatureRecord record;
  std::memcpy(record.bytes + SignatureRecord::kDigest, digest, SignatureRecord::kDigestSize);

  Secret r;
  randomScalar(r);
  unsigned char x[Field25519::kSize];
  baseMultiple(r.bytes, x);
  ProductHash hash(data_);
  hash.update(x, sizeof x);
  unsigned char hashed[ProductHash::kDigestSize];
  hash.digest(hashed);
  std::memcpy(record.bytes + SignatureRecord::kCheck, hashed, SignatureRecord::kCheckSize);

  unsigned char k[Field25519::kSize];
  signatureMultiplier(data_, digest, record.check(), k);
  reduceMultiplier(k, k);
  Secret product;
  crypto_core_ed25519_scalar_mul(product.bytes, k, key_.bytes);
  const auto combine = negative_ ? crypto_core_ed25519_scalar_add : crypto_core_ed25519_scalar_sub;
  combine(record.bytes + SignatureRecord::kScalar, r.bytes, product.bytes);
  return record;
}
