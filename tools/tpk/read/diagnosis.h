// The installer's verdict on a package file, and why it is what it is.
#pragma once

#include "tools/tpk/read/layout.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class InputFile;

enum class Fault {
  kNoHeader,        // shorter than a file header
  kMagic,           // not the first bytes of a package file
  kCutShort,        // ends earlier than its header says, in the middle of something
  kLength,          // the length in the file header is not the file's
  kPastEnd,         // a part is longer than what the file has left
  kNoPackage,       // there is no package in it
  kMisplaced,       // a part where the installer does not expect it
  kHeaderShort,     // a package header of less than its 32 bytes
  kName,            // a name that cannot be that of a directory of the database
  kListShort,       // a dependency list announces more entries than it has
  kSignatureShort,  // a signature part of less than its 68 bytes
  kDigest,          // signed were other bytes
  kKey,             // not signed with the product's key
  kUnknown,         // neither signed nor one of the product's known packages
};

// For programs, such as "cut-short".
const char* faultWord(Fault fault);

struct Finding {
  Fault fault;
  std::uint64_t offset;  // in the file, of what is wrong
  std::string text;      // in plain words
  std::string package;   // full name of the one concerned, when it is one of a bundle's
};

// The text, behind the name of the bundle's package that is concerned.
std::string explanation(const Finding& finding);

struct PackageDiagnosis {
  std::string name;              // full name, printable; "package 2" when the header has none
  std::optional<Finding> fault;  // none: the installer accepts it
  bool listed = false;           // accepted as one of the product's known packages
};

struct Diagnosis {
  enum : std::size_t { kMostPackages = 1000 };

  bool good = false;              // what the installer says
  std::vector<Finding> findings;  // why it is not; first what explains most
  bool isBundle = false;
  // In file order: the one, or those that a bundle carries, of which no more than kMostPackages are
  // described.
  std::vector<PackageDiagnosis> packages;
  std::size_t packageCount = 0;
};

// Checks against productData(). The verdict is made by the program's own code; what is looked for
// in the layout are its reasons.
Diagnosis diagnose(const InputFile& file, const Layout& layout);
