#include "plan/movefile.h"

#include "stream/ifilestream.h"
#include "stream/outputfile.h"

#include <cstdint>

#include <sys/stat.h>
#include <unistd.h>

namespace {

enum : std::size_t { kCopySize = 16384 };

// Bytes copied, or less than nothing when the copy could not be written.
std::int64_t copyBytes(std::istream& in, OutputFile& out) {
  char chunk[kCopySize];
  std::int64_t copied = 0;
  while (in.good() && out.good()) {
    in.read(chunk, sizeof chunk);
    out.write(chunk, static_cast<std::size_t>(in.gcount()));
    copied += in.gcount();
  }
  return out.close() ? copied : -1;
}

}  // namespace

bool moveFile(const std::string& from, const std::string& to) {
  struct stat info;
  ifilestream in(from);
  if (!in.isOpen() || stat(from.c_str(), &info) != 0) return false;
  OutputFile out(to);
  // A read error looks like an early end: only the whole file counts.
  if (copyBytes(in, out) != info.st_size) {
    unlink(to.c_str());
    return false;
  }
  unlink(from.c_str());
  return true;
}
