#include "stream/readbytes.h"

#include <algorithm>

namespace {

enum : std::uint32_t { kChunkSize = 4096 };

// Reads at most a chunk of what is left and takes it off.
std::streamsize readChunk(std::istream& in, char* chunk, std::uint32_t& left) {
  const std::uint32_t wanted = std::min<std::uint32_t>(left, kChunkSize);
  in.read(chunk, static_cast<std::streamsize>(wanted));
  left -= wanted;
  return in.gcount();
}

}  // namespace

bool readBytes(std::istream& in, std::uint32_t count, std::string& out) {
  char chunk[kChunkSize];
  while (count > 0 && in.good()) {
    const std::streamsize got = readChunk(in, chunk, count);
    out.append(chunk, static_cast<std::size_t>(got));
  }
  return !in.fail() && count == 0;
}

bool skipBytes(std::istream& in, std::uint32_t count) {
  char chunk[kChunkSize];
  while (count > 0 && in.good()) readChunk(in, chunk, count);
  return !in.fail() && count == 0;
}
