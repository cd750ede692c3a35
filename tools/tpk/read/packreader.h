// A package file taken apart: what the program itself reads of it, and beside it where every part
// lies and how each package is signed. Every command that looks into packages starts here.
#pragma once

#include "model/packageinfo.h"
#include "stream/packformat.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class InputFile;

using Digest = std::array<unsigned char, SignatureRecord::kDigestSize>;

struct PartSpan {
  std::uint32_t type;
  std::uint64_t offset;  // of the contents in the file; the part's header stands before them
  std::uint32_t size;    // of the contents
};

enum class SignatureState {
  kNone,         // no signature part
  kGood,         // made with the product's key for these bytes
  kTooShort,     // the part has fewer bytes than a record
  kOtherDigest,  // made for other bytes: what the record says is not this package's digest
  kOtherKey,     // for these bytes, but not with the product's key
};

// One package of a file, or the bundle that carries it.
struct PackedPackage {
  PackageInfo info;             // a bundle's subPackages stay empty: see PackedFile::packages
  std::vector<PartSpan> parts;  // in file order, the opening one first, unknown types too
  std::optional<std::string> onInstall;
  std::optional<std::string> onUninstall;
  std::vector<PackageDep> turnOff;  // of a bundle
  // Of a package; a bundle has none of these. The digest is that of which a signature speaks, or,
  // without a signature, the list of known ones.
  Digest digest = {};
  SignatureState signature = SignatureState::kNone;
  bool listed = false;  // the digest is in the product's list

  // The first part of the type; null when there is none.
  const PartSpan* find(PartType type) const;
  // As the installer decides: a signature that is there must be good, the list counts without one.
  bool isGenuine() const;
};

struct PackedFile {
  std::string name;  // of the file, for messages
  bool dumb = false;
  std::uint32_t length = 0;               // as the file header has it: the rest of the file
  std::uint64_t size = 0;                 // of the file
  std::vector<PartSpan> strays;           // before the first header: of types nobody knows
  std::uint64_t trailing = 0;             // bytes behind the last part, too few for another one
  std::unique_ptr<PackedPackage> bundle;  // null when the file has one package
  std::vector<std::unique_ptr<PackedPackage>> packages;
};

// Checks signatures against productData(). Reads what the program's readers would accept as a
// package, whether or not it is genuine; throws Failure, naming the file and the first thing that
// is wrong, for anything else, and for a second package in a file that is no bundle.
PackedFile readPackedFile(const InputFile& file);

// "made with the product's key", "none", ...
const char* signatureText(SignatureState state);

// 40 hex digits.
std::string digestText(const Digest& digest);
