// One file of a product data folder (docs/product-data.md): lower-case hex digits separated by
// white space; "#" starts a comment. cmake/ProductData.cmake takes and refuses the same files.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// What a file holds: so many entries of so many bytes.
struct HexShape {
  const char* name;
  std::size_t count;
  std::size_t entrySize;
  const char* what;  // the entries, for messages

  std::size_t size() const { return count * entrySize; }
};

// Erases its text and its bytes when it goes: they may be a signing key's.
class HexFile {
 public:
  // Reads the file. Throws Failure, naming the line, when it does not have the shape.
  HexFile(const std::string& path, const HexShape& shape);
  ~HexFile();
  HexFile(const HexFile&) = delete;
  HexFile& operator=(const HexFile&) = delete;

  // In the order of the digits; shape.size() of them.
  const unsigned char* bytes() const { return bytes_.data(); }
  const std::string& text() const { return text_; }
  // Where the first digit of an entry stands in the text.
  std::size_t placeOf(std::size_t entry) const { return places_[entry]; }

 private:
  [[noreturn]] void fail(const std::string& found) const;
  void parse();
  std::size_t parseGroup(std::size_t begin);
  std::size_t lineOf(std::size_t place) const;

  std::string path_;
  const HexShape& shape_;
  std::string text_;
  std::vector<unsigned char> bytes_;
  std::vector<std::size_t> places_;
};
