#include "tools/tpk/host/hextext.h"

#include <sodium.h>

std::string hexText(const std::string& bytes) {
  std::string text;
  appendHex(text, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  return text;
}

void appendHex(std::string& text, const unsigned char* bytes, std::size_t size) {
  const std::size_t begin = text.size();
  text.resize(begin + 2 * size + 1);  // with the NUL that is put behind them
  sodium_bin2hex(&text[begin], 2 * size + 1, bytes, size);
  text.pop_back();
}
