#include "tests/support/sign.h"

#include "tools/tpk/product/productfolder.h"
#include "tools/tpk/product/signer.h"

#include <memory>

namespace {

// Read once for all tests of an executable.
struct Signing {
  Signing() : data(readProductData(PRODUCT_DATA_DIR)) {
    SigningKey key;
    readSigningKey(PRODUCT_DATA_DIR, key);
    signer = std::make_unique<Signer>(*data, key);
  }

  std::unique_ptr<ProductData> data;
  std::unique_ptr<Signer> signer;
};

}  // namespace

std::string signatureFor(const unsigned char* digest) {
  static const Signing signing;
  const SignatureRecord record = signing.signer->sign(digest);
  return std::string(reinterpret_cast<const char*>(record.bytes), sizeof record.bytes);
}
