#include "model/version.h"

#include <cstdio>

namespace {

// An unknown kind prints as if there were none, and the minor and the build number run together:
// the text is for people only, nothing is ever ordered by it.
const char* kindSuffix(unsigned int kind) {
  switch (kind) {
    case kKindAlpha:
      return "alpha";
    case kKindBeta:
      return "beta";
    case kKindCandidate:
      return "rc";
    default:
      return "";
  }
}

}  // namespace

const char* versionString(unsigned int version) {
  static char text[80];
  const unsigned int major = version >> 24;
  const unsigned int minor = version >> 16 & 0xFF;
  const unsigned int kind = version >> 8 & 0xFF;
  const unsigned int build = version & 0xFF;

  if (kind == kKindFinal) {
    if (build != 0) {
      std::snprintf(text, sizeof text, "%u.%u.%u", major, minor, build);
    } else {
      std::snprintf(text, sizeof text, "%u.%u", major, minor);
    }
  } else if (build != 0) {
    std::snprintf(text, sizeof text, "%u.%u%s%u", major, minor, kindSuffix(kind), build);
  } else {
    std::snprintf(text, sizeof text, "%u.%u%s", major, minor, kindSuffix(kind));
  }
  return text;
}
