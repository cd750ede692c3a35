#include "tools/tpk/product/signer.h"

#include "stream/curve25519.h"
#include "stream/producthash.h"
#include "stream/signature.h"
#include "tools/tpk/host/failure.h"

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

// Keeps these hashes apart from any other use that is made of the same key.
const char kDomain[] = "tpk signature: r";

// SHA-512 of whatever is put in, forgotten when it goes.
class SecretHash {
 public:
  SecretHash() { crypto_hash_sha512_init(&state_); }
  ~SecretHash() { sodium_memzero(&state_, sizeof state_); }
  SecretHash(const SecretHash&) = delete;
  SecretHash& operator=(const SecretHash&) = delete;

  void add(const void* bytes, std::size_t size) {
    crypto_hash_sha512_update(&state_, static_cast<const unsigned char*>(bytes), size);
  }
  void addWords(const std::uint32_t* words, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      unsigned char bytes[sizeof words[i]];
      put32(bytes, words[i]);
      add(bytes, sizeof bytes);
    }
  }
  // Its 64 bytes as a number, reduced: every scalar is as good as equally likely.
  void toScalar(Secret& scalar) {
    static_assert(crypto_hash_sha512_BYTES == crypto_core_ed25519_NONREDUCEDSCALARBYTES);
    unsigned char wide[crypto_hash_sha512_BYTES];
    crypto_hash_sha512_final(&state_, wide);
    crypto_core_ed25519_scalar_reduce(scalar.bytes, wide);
    sodium_memzero(wide, sizeof wide);
  }

 private:
  crypto_hash_sha512_state state_;
};

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

// Two signatures with one r and different k, or with one k and different signs, are two equations
// for two unknowns and give the key away. So r comes from a hash, as in RFC 8032 (section 5.1.6)
// and RFC 6979, of the key and of everything else that s depends on: the digest, the product's hash
// and the root selector. No source of random numbers can then fail, and a build is reproducible.
void Signer::chooseScalar(const unsigned char* digest, unsigned char* r) const {
  Secret scalar;
  unsigned char attempt = 0;
  do {
    SecretHash hash;
    hash.add(kDomain, sizeof kDomain);
    hash.add(&attempt, sizeof attempt);
    hash.add(key_.bytes, sizeof key_.bytes);
    hash.add(data_.publicKey, sizeof data_.publicKey);
    hash.add(data_.rootSelector, sizeof data_.rootSelector);
    hash.addWords(data_.hashState, ProductData::kStateWords);
    hash.addWords(data_.hashConstants, ProductData::kConstantWords);
    hash.add(digest, SignatureRecord::kDigestSize);
    hash.toScalar(scalar);
    ++attempt;
  } while (sodium_is_zero(scalar.bytes, sizeof scalar.bytes));
  std::memcpy(r, scalar.bytes, sizeof scalar.bytes);
}

SignatureRecord Signer::sign(const unsigned char* digest) const {
  SignatureRecord record;
  std::memcpy(record.bytes + SignatureRecord::kDigest, digest, SignatureRecord::kDigestSize);

  Secret r;
  chooseScalar(digest, r.bytes);
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
