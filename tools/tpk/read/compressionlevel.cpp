#include "tools/tpk/read/compressionlevel.h"

#include "stream/icstream.h"
#include "stream/ipackstream.h"
#include "stream/ocstream.h"
#include "tools/tpk/read/archivereader.h"
#include "tools/tpk/read/inputfile.h"

#include <algorithm>
#include <vector>

namespace {

enum : std::size_t { kCopySize = 4096 };

// Takes bytes as long as they are those of the archive.
class Comparison : public std::streambuf {
 public:
  explicit Comparison(std::istream& expected) : expected_(expected) {}

  bool cameToTheEnd() { return good_ && expected_.peek() == traits_type::eof(); }

 protected:
  std::streamsize xsputn(const char* data, std::streamsize count) override {
    std::vector<char> expected(static_cast<std::size_t>(count));
    expected_.read(expected.data(), count);
    good_ =
        good_ && expected_.gcount() == count && std::equal(expected.begin(), expected.end(), data);
    return good_ ? count : 0;
  }
  int_type overflow(int_type c) override {
    const char byte = traits_type::to_char_type(c);
    return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
  }

 private:
  std::istream& expected_;
  bool good_ = true;
};

bool isMadeWith(int level, const InputFile& file, const PartSpan& archive) {
  FileRange compressed = openArchive(file, archive.offset);
  FileRange expected = openArchive(file, archive.offset);
  icstream inflated(compressed, false);
  Comparison comparison(expected);
  std::ostream sink(&comparison);
  ocstream again(sink, level);
  char buffer[kCopySize];
  while (inflated.read(buffer, sizeof buffer) || inflated.gcount() > 0) {
    if (!again.write(buffer, inflated.gcount())) return false;
  }
  return again.finish() && comparison.cameToTheEnd();
}

}  // namespace

std::optional<int> compressionLevel(const InputFile& file, const PartSpan& archive) {
  enum : unsigned { kLevelShift = 6, kLevelMask = 3 };
  static const std::vector<int> candidates[] = {{1, 0}, {5, 4, 3, 2}, {6}, {9, 8, 7}};
  const std::uint16_t header = ArchiveReader(file, archive.offset).zlibHeader();
  for (const int level : candidates[header >> kLevelShift & kLevelMask]) {
    if (isMadeWith(level, file, archive)) return level;
  }
  return std::nullopt;
}
