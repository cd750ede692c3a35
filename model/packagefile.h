// A package file on disk and the description in it.
#pragma once

#include "model/packageinfo.h"

#include <cstdint>
#include <string>
#include <string_view>

constexpr char kPackageSuffix[] = ".tpk";
constexpr char kOtherPackageSuffix[] = ".mpk";

// Whether text ends in postfix; case counts.
bool hasPostfix(std::string_view text, std::string_view postfix);

class PackageFile : public PackageInfo {
 public:
  std::string path;        // where the file is now
  std::string foundPath;   // where it was found
  std::uint32_t size = 0;  // of the file, in bytes
  bool isDumb = false;     // leaves no record in the database

  ~PackageFile() override;

  // Reads the headers, of a bundle also those of the packages that it carries. False, in silence,
  // when the file cannot be read, its size is not what its header says, or a header is broken; the
  // description may then be partly filled.
  [[nodiscard]] bool readFrom(const std::string& filePath);
};
