#include "tools/tpk/host/printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace {

// Length of the UTF-8 character that begins at the position; 0 when there is none. Overlong forms,
// surrogates and what is above U+10FFFF are none.
std::size_t characterAt(const std::string& text, std::size_t at, std::uint32_t& code) {
  const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned first = byte(at);
  code = first;
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() - at < length) return 0;
  code = first & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0u) != 0x80) return 0;
    code = code << 6 | (byte(at + i) & 0x3Fu);
  }
  static const std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool good =
      code >= smallest[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
  return good ? length : 0;
}

// Beside the C0 and C1 controls, the characters that turn the direction of writing round: with them
// a name can be made to look like another.
bool isControl(std::uint32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029 ||
         (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

std::string escaped(unsigned char byte) {
  if (byte == '\n') return "\\n";
  if (byte == '\t') return "\\t";
  if (byte == '\\') return "\\\\";
  char out[8];
  std::snprintf(out, sizeof out, "\\x%02x", unsigned{byte});
  return out;
}

}  // namespace

bool isUtf8(const std::string& text) {
  std::uint32_t code;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = characterAt(text, i, code);
    if (length == 0) return false;
    i += length;
  }
  return true;
}

std::string printable(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size();) {
    std::uint32_t code;
    const std::size_t length = characterAt(text, i, code);
    const std::size_t end = i + (length == 0 ? 1 : length);
    const bool plain = length != 0 && !isControl(code) && code != '\\';
    for (; i < end; ++i)
      out += plain ? std::string(1, text[i]) : escaped(static_cast<unsigned char>(text[i]));
  }
  return out;
}

std::string consoleText(const std::string& message) {
  std::string out;
  for (std::size_t i = 0; i < message.size();) {
    std::uint32_t code;
    const std::size_t length = std::max<std::size_t>(characterAt(message, i, code), 1);
    const std::string character = message.substr(i, length);
    out += character == "\n" || character == "\\" ? character : printable(character);
    i += length;
  }
  return out;
}
