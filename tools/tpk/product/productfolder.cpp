#include "tools/tpk/product/productfolder.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hextext.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/product/hexfile.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include <sodium.h>
#include <sys/stat.h>

namespace {

const char kDevelopmentKey[] = "development key";

enum : std::size_t { kWordSize = 4, kEntriesPerLine = 4 };

const HexShape kShapes[] = {
    {kPublicKey, ProductData::kKeySize, 1, "bytes"},
    {kRootSelector, ProductData::kKeySize, 1, "bytes"},
    {kHashState, ProductData::kStateWords, kWordSize, "words"},
    {kHashConstants, ProductData::kConstantWords, kWordSize, "words"},
    {kKnownDigests, ProductData::kKnownDigests, ProductData::kDigestSize, "digests"},
    {kSigningKey, SigningKey::kSize, 1, "bytes"},
};

void readBytes(const std::string& folder, const char* name, unsigned char* out) {
  const HexShape& shape = productFileShape(name);
  const HexFile file(folder + "/" + name, shape);
  std::copy_n(file.bytes(), shape.size(), out);
}

// Words are written as numbers, most significant digit first.
void readWords(const std::string& folder, const char* name, std::uint32_t* out) {
  const HexShape& shape = productFileShape(name);
  const HexFile file(folder + "/" + name, shape);
  for (std::size_t i = 0; i < shape.count; ++i) {
    const unsigned char* const word = file.bytes() + kWordSize * i;
    out[i] = static_cast<std::uint32_t>(word[0]) << 24 | static_cast<std::uint32_t>(word[1]) << 16 |
             static_cast<std::uint32_t>(word[2]) << 8 | word[3];
  }
}

std::string bytesText(const std::string& comment, const unsigned char* bytes, std::size_t entrySize,
                      std::size_t count) {
  std::string text = "# " + comment + "\n";
  text.reserve(text.size() + count * (2 * entrySize + 1));  // no copies of a secret left behind
  for (std::size_t i = 0; i < count; ++i) {
    appendHex(text, bytes + i * entrySize, entrySize);
    text += '\n';
  }
  return text;
}

std::string wordsText(const std::string& comment, const std::uint32_t* words, std::size_t count) {
  std::string text = "# " + comment + "\n";
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t word = words[i];
    const unsigned char bytes[] = {
        static_cast<unsigned char>(word >> 24), static_cast<unsigned char>(word >> 16),
        static_cast<unsigned char>(word >> 8), static_cast<unsigned char>(word)};
    appendHex(text, bytes, sizeof bytes);
    text += i % kEntriesPerLine == kEntriesPerLine - 1 ? '\n' : ' ';
  }
  return text;
}

// Files that disappear again unless all of them could be written.
class NewFolder {
 public:
  explicit NewFolder(const std::string& folder) : folder_(folder) {
    for (const HexShape& shape : kShapes)
      if (hostFileExists(path(shape.name)))
        throw Failure(path(shape.name) + ": exists already and is not overwritten");
    made_ = makeHostDirectory(folder_);
  }
  ~NewFolder() {
    if (complete_) return;
    for (const std::string& written : written_) removeHostFile(written);
    if (made_) removeHostDirectory(folder_);
  }
  NewFolder(const NewFolder&) = delete;
  NewFolder& operator=(const NewFolder&) = delete;

  void add(const char* name, const std::string& text, unsigned mode = 0666) {
    createHostFile(path(name), text, mode);
    written_.push_back(path(name));
  }
  void keep() { complete_ = true; }

 private:
  std::string path(const char* name) const { return folder_ + "/" + name; }

  std::string folder_;
  std::vector<std::string> written_;
  bool made_ = false;
  bool complete_ = false;
};

}  // namespace

SigningKey::~SigningKey() { sodium_memzero(bytes, sizeof bytes); }

const HexShape& productFileShape(const std::string& name) {
  for (const HexShape& shape : kShapes)
    if (name == shape.name) return shape;
  throw Failure(name + ": is no file of a product data folder");
}

const std::vector<std::string>& productFileNames() {
  static const std::vector<std::string> names = {kPublicKey, kRootSelector, kHashState,
                                                 kHashConstants, kKnownDigests};
  return names;
}

void readProductFile(const std::string& folder, const std::string& name, ProductData& data) {
  if (name == kPublicKey) readBytes(folder, kPublicKey, data.publicKey);
  if (name == kRootSelector) readBytes(folder, kRootSelector, data.rootSelector);
  if (name == kHashState) readWords(folder, kHashState, data.hashState);
  if (name == kHashConstants) readWords(folder, kHashConstants, data.hashConstants);
  if (name == kKnownDigests) readBytes(folder, kKnownDigests, data.knownDigests[0]);
}

std::unique_ptr<ProductData> readProductData(const std::string& folder) {
  auto data = std::make_unique<ProductData>();
  for (const std::string& name : productFileNames()) readProductFile(folder, name, *data);
  return data;
}

void readSigningKey(const std::string& folder, SigningKey& key) {
  readBytes(folder, kSigningKey, key.bytes);
}

std::string signingKeyWarning(const std::string& folder) {
  const std::string path = folder + "/" + kSigningKey;
  struct stat status;
  if (::stat(path.c_str(), &status) != 0 || (status.st_mode & (S_IRGRP | S_IROTH)) == 0)
    return std::string();
  std::string text = readHostFile(path);
  const bool isPublic = text.find(kDevelopmentKey) != std::string::npos;
  sodium_memzero(text.data(), text.size());
  if (isPublic) return std::string();
  return path + ": others can read it; remedy: chmod go= " + path;
}

void writeProductFolder(const std::string& folder, const ProductData& data, const SigningKey& key) {
  NewFolder files(folder);
  std::string secret = bytesText(
      "Secret: the number a of which the public key is the multiple, little-endian. Not read when "
      "the program is built.",
      key.bytes, SigningKey::kSize, 1);
  try {
    files.add(kSigningKey, secret, 0600);
  } catch (const Failure&) {
    sodium_memzero(secret.data(), secret.size());
    throw;
  }
  sodium_memzero(secret.data(), secret.size());

  files.add(kPublicKey,
            bytesText("The key that packages are signed with: x-coordinate, little-endian.",
                      data.publicKey, ProductData::kKeySize, 1));
  files.add(kRootSelector, bytesText("A square root of -1 modulo 2^255 - 19, little-endian.",
                                     data.rootSelector, ProductData::kKeySize, 1));
  files.add(kHashState, wordsText("Initial state of the signature's hash.", data.hashState,
                                  ProductData::kStateWords));
  files.add(kHashConstants, wordsText("Round constants of the signature's hash.",
                                      data.hashConstants, ProductData::kConstantWords));
  files.add(kKnownDigests,
            bytesText("SHA-1 digests of packages that are good without a signature. Places that "
                      "are free hold a digest of ones.",
                      data.knownDigests[0], ProductData::kDigestSize, ProductData::kKnownDigests));
  files.keep();
}
