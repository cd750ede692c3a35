#include "tools/tpk/product/productcheck.h"

#include "stream/curve25519.h"
#include "stream/productdata.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/product/digestlist.h"
#include "tools/tpk/product/newproduct.h"
#include "tools/tpk/product/productfolder.h"
#include "tools/tpk/product/signer.h"

#include <cstring>
#include <set>

#include <sodium.h>

namespace {

enum : int { kBaseX = 9, kCofactor = 8 };

// On the twisted Edwards form, which libsodium computes with, y is (x - 1) / (x + 1) (RFC 7748,
// section 4.1). A point and its negative differ in a bit that does not matter here.
bool isMultipleOfBase(const Field25519& x) {
  const Field25519 one = Field25519::fromSmall(1);
  unsigned char y[crypto_core_ed25519_BYTES];
  ((x - one) * (x + one).inverse()).toBytes(y);
  return crypto_core_ed25519_is_valid_point(y) == 1;
}

// Such a point's multiple by any number that a signature multiplies it by is none.
bool hasSmallOrder(const ProductData& data, const Field25519& root) {
  const unsigned char none[Field25519::kSize] = {};
  const unsigned char cofactor[Field25519::kSize] = {kCofactor};
  unsigned char selector[Field25519::kSize];
  root.toBytes(selector);
  unsigned char multiple[Field25519::kSize];
  return jointMultiple(none, cofactor, data.publicKey, selector, multiple) &&
         sodium_is_zero(multiple, sizeof multiple);
}

// Nothing when the key is good.
std::string keyProblem(const ProductData& data) {
  const Field25519 x = Field25519::fromBytes(data.publicKey);
  const Field25519 root = rootOfMinusOne();
  Field25519 y;
  if (!recoverRoot(x, root, y)) return "is on no point of the curve: nothing verifies with it";
  if (hasSmallOrder(data, root)) return "is a point of small order: anybody can sign for it";
  if (!isMultipleOfBase(x)) return "is no multiple of the base point: no signing key is its own";
  if (x == Field25519::fromSmall(kBaseX)) return "is the base point: everybody knows its key";
  return std::string();
}

bool isRootOfMinusOne(const ProductData& data) {
  const Field25519 root = Field25519::fromBytes(data.rootSelector);
  return root.squared() == Field25519() - Field25519::fromSmall(1);
}

std::string countOf(std::size_t count, const char* what) {
  return std::to_string(count) + " " + what;
}

class ProductCheck {
 public:
  explicit ProductCheck(const std::string& folder) : folder_(folder) {
    readySodium();
    if (!isHostDirectory(folder)) throw EnvironmentFailure(folder + ": is no folder");
  }

  ProductReport run() {
    for (const std::string& name : productFileNames()) readFile(name);
    if (read_.count(kPublicKey)) {
      const std::string problem = keyProblem(data_);
      report(kPublicKey, problem.empty(), problem.empty() ? "a point of the curve" : problem);
    }
    if (read_.count(kRootSelector)) {
      const bool good = isRootOfMinusOne(data_);
      report(kRootSelector, good, good ? "a square root of -1" : "its square is not -1");
    }
    reportCount(kHashState, countOf(ProductData::kStateWords, "words"));
    reportCount(kHashConstants, countOf(ProductData::kConstantWords, "words"));
    reportCount(kKnownDigests, countOf(ProductData::kKnownDigests, "digests, ") +
                                   countOf(countFreePlaces(data_), "places free"));
    result_.hasSigningKey = hostFileExists(path(kSigningKey));
    if (result_.hasSigningKey) checkSigningKey();
    return result_;
  }

 private:
  std::string path(const std::string& name) const { return folder_ + "/" + name; }

  void readFile(const std::string& name) {
    try {
      readProductFile(folder_, name, data_);
      read_.insert(name);
    } catch (const Failure& failure) {
      result_.problems.emplace_back(failure.what());
    }
  }

  void report(const std::string& name, bool good, const std::string& what) {
    (good ? result_.findings : result_.problems).push_back(path(name) + ": " + what);
  }
  void reportCount(const std::string& name, const std::string& what) {
    if (read_.count(name)) report(name, true, what);
  }

  // With the rest of the data wrong nothing can be said of the key but whether it can be read.
  void checkSigningKey() {
    SigningKey key;
    try {
      readSigningKey(folder_, key);
    } catch (const Failure& failure) {
      result_.problems.emplace_back(failure.what());
      return;
    }
    if (!result_.problems.empty()) return;
    try {
      const Signer signer(data_, key);
      report(kSigningKey, true, "the key of public-key");
    } catch (const Failure& failure) {
      result_.problems.push_back(folder_ + "/" + failure.what());
    }
  }

  std::string folder_;
  ProductData data_ = {};
  std::set<std::string> read_;
  ProductReport result_;
};

}  // namespace

ProductReport checkProduct(const std::string& folder) { return ProductCheck(folder).run(); }
