#include "tools/tpk/read/entrytext.h"

#include "stream/packformat.h"
#include "tools/tpk/read/partnames.h"

#include <cstdio>
#include <ctime>

#include <sys/sysmacros.h>

namespace {

enum : std::uint16_t { kSetUser = 04000, kSetGroup = 02000, kSticky = 01000, kPermissions = 07777 };

char typeLetter(std::uint16_t mode) {
  switch (mode & ArchiveHeader::kTypeMask) {
    case ArchiveHeader::kRegular:
      return '-';
    case ArchiveHeader::kDirectory:
      return 'd';
    case ArchiveHeader::kSymlink:
      return 'l';
    case ArchiveHeader::kCharDevice:
      return 'c';
    case ArchiveHeader::kBlockDevice:
      return 'b';
    case ArchiveHeader::kFifo:
      return 'p';
    default:
      return '?';
  }
}

// The place of the x shows a bit more: small over an x, large over none.
void mark(char& place, bool on, char small, char large) {
  if (on) place = place == 'x' ? small : large;
}

}  // namespace

std::string timeText(std::uint32_t time) {
  const std::time_t seconds = time;
  std::tm parts = {};
  char text[40] = "";
  if (::gmtime_r(&seconds, &parts)) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  return text;
}

std::string modeText(std::uint16_t mode) {
  static const char letters[] = "rwxrwxrwx";
  std::string text(1, typeLetter(mode));
  for (unsigned i = 0; i < 9; ++i) text += (mode & (0400u >> i)) != 0 ? letters[i] : '-';
  mark(text[3], (mode & kSetUser) != 0, 's', 'S');
  mark(text[6], (mode & kSetGroup) != 0, 's', 'S');
  mark(text[9], (mode & kSticky) != 0, 't', 'T');
  return text;
}

std::string octalText(std::uint16_t mode) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", unsigned{mode} & unsigned{kPermissions});
  return text;
}

unsigned deviceMajor(std::uint32_t device) { return major(dev_t{device}); }

unsigned deviceMinor(std::uint32_t device) { return minor(dev_t{device}); }
