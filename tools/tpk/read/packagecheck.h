// Why the program's readers refuse one package of a file, or its headers: they only say that they
// do. Follows verifyPackages (stream/verification.h) and PackageInfo::readFrom part by part.
#pragma once

#include "tools/tpk/read/diagnosis.h"
#include "tools/tpk/read/layout.h"

#include <istream>
#include <optional>
#include <string>

class PackageCheck {
 public:
  // Neither is copied; in must be able to seek.
  PackageCheck(std::istream& in, const Layout& layout) : in_(in), layout_(layout) {}

  // Types that verifyPackages and PackageFile::readFrom accept.
  static PartWalk contentsWalk(const Layout& layout);
  static PartWalk headerWalk(const Layout& layout);

  // With a contents walk on a package's header: why the package is not genuine. Leaves the walk on
  // what follows the package when it is; listed becomes whether its digest made it so.
  std::optional<Finding> genuine(PartWalk& walk, bool& listed);
  // With a header walk on a package's or a bundle's header: why it cannot be read. Leaves the walk
  // on the first part behind the headers when it can; name becomes the full name.
  std::optional<Finding> readable(PartWalk& walk, std::string& name);
  // With either walk where it should be on a package's header.
  Finding noPackage(const PartWalk& walk, bool behindAnother) const;

 private:
  std::optional<Finding> signatureFault(const PartPlace& signature, std::uint64_t begin);
  std::optional<Finding> listFault(const PartPlace& part);
  Finding cutShort(const PartPlace& part) const;
  Finding cutBehind(const PartWalk& walk) const;
  bool digestOf(std::uint64_t begin, std::uint64_t end, unsigned char* digest);
  template <typename Record>
  bool read(std::uint64_t offset, Record& record);

  std::istream& in_;
  const Layout& layout_;
};
