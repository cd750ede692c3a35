// A product's data as a folder of text files (docs/product-data.md): lower-case hex digits
// separated by white space; "#" starts a comment.
#pragma once

#include "stream/productdata.h"

#include <cstddef>
#include <memory>
#include <string>

// The secret number of which the public key is the multiple. Erased when it goes.
class SigningKey {
 public:
  enum : std::size_t { kSize = 32 };

  SigningKey() = default;
  ~SigningKey();
  SigningKey(const SigningKey&) = delete;
  SigningKey& operator=(const SigningKey&) = delete;

  unsigned char bytes[kSize] = {};  // little-endian
};

// Everything but the signing key. Throws Failure.
std::unique_ptr<ProductData> readProductData(const std::string& folder);

// Throws Failure, also when the folder has no signing key.
void readSigningKey(const std::string& folder, SigningKey& key);
// What to say of a signing key that others than its owner can read; empty when there is nothing to
// say. A comment with the words "development key" in the file settles it: such a key is no secret.
std::string signingKeyWarning(const std::string& folder);

// Creates the folder with all its files, the signing key readable by its owner only. Throws
// Failure, also when there is such a folder with one of the files in it.
void writeProductFolder(const std::string& folder, const ProductData& data, const SigningKey& key);
