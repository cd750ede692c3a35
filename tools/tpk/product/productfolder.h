// A product's data as a folder of text files (docs/product-data.md): lower-case hex digits
// separated by white space; "#" starts a comment.
#pragma once

#include "stream/productdata.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

struct HexShape;

// The files of a folder.
constexpr char kPublicKey[] = "public-key";
constexpr char kRootSelector[] = "root-selector";
constexpr char kHashState[] = "hash-state";
constexpr char kHashConstants[] = "hash-constants";
constexpr char kKnownDigests[] = "known-digests";
constexpr char kSigningKey[] = "signing-key";

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

// Of all six. The name must be one of them.
const HexShape& productFileShape(const std::string& name);

// All but the signing key, which is no part of a product's data.
const std::vector<std::string>& productFileNames();
// Reads one of these into its place. Throws Failure.
void readProductFile(const std::string& folder, const std::string& name, ProductData& data);

// Reads them all. Throws Failure.
std::unique_ptr<ProductData> readProductData(const std::string& folder);

// Throws Failure, also when the folder has no signing key.
void readSigningKey(const std::string& folder, SigningKey& key);
// What to say of a signing key that others than its owner can read; empty when there is nothing to
// say. A comment with the words "development key" in the file settles it: such a key is no secret.
std::string signingKeyWarning(const std::string& folder);

// Creates the folder with all its files, the signing key readable by its owner only. Throws
// Failure, also when there is such a folder with one of the files in it.
void writeProductFolder(const std::string& folder, const ProductData& data, const SigningKey& key);
