#include "tools/tpk/product/digestline.h"

#include "model/version.h"
#include "tools/tpk/host/printable.h"

std::string digestComment(const PackedPackage& package) {
  return printable(package.info.name) + " " + printable(versionString(package.info.version));
}

std::string digestLine(const PackedPackage& package) {
  const bool isSigned = package.signature != SignatureState::kNone;
  return digestText(package.digest) + "  # " + digestComment(package) +
         (isSigned ? " (signed)" : "");
}
