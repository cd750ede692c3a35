#include "tools/tpk/read/fieldtext.h"

#include "model/version.h"
#include "tools/tpk/host/printable.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

enum : std::size_t { kShownSize = 48 };

}  // namespace

std::string versionText(std::uint32_t version) {
  std::string text = versionString(version);
  const std::uint32_t kind = version >> 8 & 0xFF;
  if (kind == kKindAlpha || kind == kKindBeta || kind == kKindCandidate || kind == kKindFinal)
    return text;
  std::array<char, 64> words;
  std::snprintf(words.data(), words.size(), " (0x%08X: no such kind of release)",
                static_cast<unsigned>(version));
  return text + words.data();
}

std::string boundText(std::uint32_t version) { return version == 0 ? "any" : versionText(version); }

std::string countText(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

std::string shownText(const std::string& text) { return shownText(text, text.size()); }

std::string shownText(const std::string& begin, std::uint64_t size) {
  const std::string quoted = '"' + printable(begin.substr(0, kShownSize)) + '"';
  return size <= kShownSize ? quoted : quoted + ".. (" + countText(size, "byte") + ')';
}

std::string unusedText(const unsigned char* bytes, std::size_t count) {
  const bool zero = std::all_of(bytes, bytes + count, [](unsigned char byte) { return byte == 0; });
  return zero ? "" : "should be zero; not read";
}
