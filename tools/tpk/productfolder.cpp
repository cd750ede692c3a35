#include "tools/tpk/productfolder.h"

#include "tools/tpk/failure.h"
#include "tools/tpk/hostfile.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include <sodium.h>
#include <sys/stat.h>

namespace {

const char kPublicKey[] = "public-key";
const char kHashState[] = "hash-state";
const char kHashConstants[] = "hash-constants";
const char kRootSelector[] = "root-selector";
const char kKnownDigests[] = "known-digests";
const char kSigningKey[] = "signing-key";

const char kDevelopmentKey[] = "development key";

enum : std::size_t { kWordSize = 4, kEntriesPerLine = 4 };

// What one file holds: so many entries of so many bytes.
struct FileShape {
  const char* name;
  std::size_t count;
  std::size_t entrySize;
  const char* what;
};

const FileShape kShapes[] = {
    {kPublicKey, 1, ProductData::kKeySize, "number"},
    {kRootSelector, 1, ProductData::kKeySize, "number"},
    {kHashState, ProductData::kStateWords, kWordSize, "words"},
    {kHashConstants, ProductData::kConstantWords, kWordSize, "words"},
    {kKnownDigests, ProductData::kKnownDigests, ProductData::kDigestSize, "digests"},
    {kSigningKey, 1, SigningKey::kSize, "number"},
};

const FileShape& shapeOf(const std::string& name) {
  for (const FileShape& shape : kShapes)
    if (name == shape.name) return shape;
  throw Failure(name + ": is no file of a product data folder");
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

unsigned digitValue(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  return 16;
}

// The bytes of one file, in the order of its digits. Erases them and the text when it goes: it may
// be the signing key's.
class HexFile {
 public:
  HexFile(const std::string& folder, const FileShape& shape)
      : path_(folder + "/" + shape.name), shape_(shape), text_(readHostFile(path_)) {
    bytes_.reserve(shape.count * shape.entrySize);
    parse();
  }
  ~HexFile() {
    sodium_memzero(text_.data(), text_.size());
    sodium_memzero(bytes_.data(), bytes_.size());
  }
  HexFile(const HexFile&) = delete;
  HexFile& operator=(const HexFile&) = delete;

  const unsigned char* bytes() const { return bytes_.data(); }

 private:
  [[noreturn]] void fail(const std::string& found) const {
    throw Failure(path_ + ": expected " + std::to_string(shape_.count) + " " + shape_.what +
                  " of " + std::to_string(2 * shape_.entrySize) + " lower-case hex digits, found " +
                  found);
  }

  void parse() {
    std::size_t entries = 0;
    for (std::size_t i = 0; i < text_.size();) {
      if (isSpace(text_[i])) {
        ++i;
      } else if (text_[i] == '#') {
        i = std::min(text_.find('\n', i), text_.size());
      } else {
        i = parseEntry(i);
        ++entries;
      }
    }
    if (entries != shape_.count) fail(std::to_string(entries));
  }

  // Returns the place behind the entry.
  std::size_t parseEntry(std::size_t begin) {
    std::size_t end = begin;
    while (end < text_.size() && digitValue(text_[end]) < 16) ++end;
    if (end < text_.size() && !isSpace(text_[end]) && text_[end] != '#')
      fail("a character that is no such digit in line " + std::to_string(lineOf(end)));
    if (end - begin != 2 * shape_.entrySize)
      fail("one of " + std::to_string(end - begin) + " digits in line " +
           std::to_string(lineOf(begin)));
    if (bytes_.size() < shape_.count * shape_.entrySize)  // more are counted, not kept
      for (std::size_t i = begin; i < end; i += 2)
        bytes_.push_back(
            static_cast<unsigned char>(digitValue(text_[i]) * 16 + digitValue(text_[i + 1])));
    return end;
  }

  std::size_t lineOf(std::size_t place) const {
    return 1 + static_cast<std::size_t>(std::count(
                   text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(place), '\n'));
  }

  std::string path_;
  const FileShape& shape_;
  std::string text_;
  std::vector<unsigned char> bytes_;
};

void readBytes(const std::string& folder, const char* name, unsigned char* out) {
  const FileShape& shape = shapeOf(name);
  const HexFile file(folder, shape);
  std::copy_n(file.bytes(), shape.count * shape.entrySize, out);
}

// Words are written as numbers, most significant digit first.
void readWords(const std::string& folder, const char* name, std::uint32_t* out) {
  const FileShape& shape = shapeOf(name);
  const HexFile file(folder, shape);
  for (std::size_t i = 0; i < shape.count; ++i) {
    const unsigned char* const word = file.bytes() + kWordSize * i;
    out[i] = static_cast<std::uint32_t>(word[0]) << 24 | static_cast<std::uint32_t>(word[1]) << 16 |
             static_cast<std::uint32_t>(word[2]) << 8 | word[3];
  }
}

void appendHex(std::string& text, const unsigned char* bytes, std::size_t size) {
  const char digits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < size; ++i) {
    text += digits[bytes[i] >> 4];
    text += digits[bytes[i] & 15];
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
    for (const FileShape& shape : kShapes)
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

std::unique_ptr<ProductData> readProductData(const std::string& folder) {
  auto data = std::make_unique<ProductData>();
  readBytes(folder, kPublicKey, data->publicKey);
  readBytes(folder, kRootSelector, data->rootSelector);
  readWords(folder, kHashState, data->hashState);
  readWords(folder, kHashConstants, data->hashConstants);
  readBytes(folder, kKnownDigests, data->knownDigests[0]);
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
                      "are not in use hold random digests.",
                      data.knownDigests[0], ProductData::kDigestSize, ProductData::kKnownDigests));
  files.keep();
}
