// A product data folder with its signing key, ready to sign with.
#pragma once

#include "tools/tpk/product/signer.h"

#include <memory>
#include <string>

struct ProductData;

class SigningSet {
 public:
  // Throws Failure. Warns on standard error when others can read the key and it does not say that
  // it is for development.
  explicit SigningSet(const std::string& folder);
  ~SigningSet();
  SigningSet(const SigningSet&) = delete;
  SigningSet& operator=(const SigningSet&) = delete;

  const Signer& signer() const { return *signer_; }

 private:
  std::unique_ptr<ProductData> data_;
  std::unique_ptr<Signer> signer_;
};
