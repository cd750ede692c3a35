// Every magic, part type and record layout of a package file (docs/format.md): the one place where
// the bytes of the format have names. A record is an array of bytes with accessors, never a struct
// laid over file data, so that it reads the same on any machine. All numbers are little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

inline std::uint16_t get16(const unsigned char* p) {
  return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}

inline std::uint32_t get32(const unsigned char* p) {
  return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
         static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

inline void put16(unsigned char* p, std::uint16_t value) {
  p[0] = static_cast<unsigned char>(value);
  p[1] = static_cast<unsigned char>(value >> 8);
}

inline void put32(unsigned char* p, std::uint32_t value) {
  put16(p, static_cast<std::uint16_t>(value));
  put16(p + 2, static_cast<std::uint16_t>(value >> 16));
}

enum PackMagic : std::uint32_t {
  kPackageMagic = 0xBAD0F11E,
  kDumbMagic =
      0xA1100FFB,  // verified and unpacked like any other, but leaves no record in the database
};

enum PartType : std::uint32_t {
  kPartPackage = 1,  // PackageHeader; opens one package
  kPartDescription = 2,
  kPartRequires = 3,  // dependency list
  kPartArchive = 4,   // one zlib stream of archive entries
  kPartOnInstall = 7,
  kPartOnUninstall = 8,
  kPartSignature = 9,  // SignatureRecord
  kPartArchitecture = 16,
  kPartConflicts = 17,  // dependency list
  kPartBundle = 18,     // PackageHeader of a file that carries several packages
  kPartProvides = 19,   // dependency list
  kPartTurnOff = 20,    // dependency list: names that a bundle turns off
  kPartImage = 21,      // image marker
  kNoPart = 0xFFFFFFFF,
};

// Bytes of a fixed-width name field up to the first NUL, or all of them.
inline std::string fixedName(const unsigned char* field, std::size_t width) {
  const void* nul = std::memchr(field, 0, width);
  const std::size_t length =
      nul ? static_cast<std::size_t>(static_cast<const unsigned char*>(nul) - field) : width;
  std::string name;
  name.append(reinterpret_cast<const char*>(field), length);
  return name;
}

// Fills a fixed-width name field, NUL-padded; a longer name is cut.
inline void putFixedName(unsigned char* field, std::size_t width, const std::string& name) {
  std::memset(field, 0, width);
  std::memcpy(field, name.data(), name.size() < width ? name.size() : width);
}

// First bytes of the file.
class FileHeader {
 public:
  enum : std::size_t { kMagic = 0, kLength = kMagic + 4, kSize = kLength + 4 };
  unsigned char bytes[kSize] = {};

  std::uint32_t magic() const { return get32(bytes + kMagic); }
  std::uint32_t length() const {
    return get32(bytes + kLength);
  }  // of the file without this header
  void setMagic(std::uint32_t value) { put32(bytes + kMagic, value); }
  void setLength(std::uint32_t value) { put32(bytes + kLength, value); }
};

// Stands before the contents of every part.
class PartHeader {
 public:
  enum : std::size_t { kType = 0, kLength = kType + 2, kSize = kLength + 4 };
  unsigned char bytes[kSize] = {};

  std::uint16_t type() const { return get16(bytes + kType); }
  std::uint32_t length() const { return get32(bytes + kLength); }  // of the contents
  void setType(std::uint16_t value) { put16(bytes + kType, value); }
  void setLength(std::uint32_t value) { put32(bytes + kLength, value); }
};

// Contents of kPartPackage and kPartBundle.
class PackageHeader {
 public:
  enum : std::size_t {
    kName = 0,
    kNameWidth = 16,
    kVersion = kName + kNameWidth,
    kBuildTime = kVersion + 4,
    kUnused = kBuildTime + 4,
    kSize = kUnused + 8
  };
  unsigned char bytes[kSize] = {};

  std::string name() const { return fixedName(bytes + kName, kNameWidth); }
  std::uint32_t version() const { return get32(bytes + kVersion); }      // packed, model/version.h
  std::uint32_t buildTime() const { return get32(bytes + kBuildTime); }  // seconds since 1970
  void setName(const std::string& name) { putFixedName(bytes + kName, kNameWidth, name); }
  void setVersion(std::uint32_t value) { put32(bytes + kVersion, value); }
  void setBuildTime(std::uint32_t value) { put32(bytes + kBuildTime, value); }
};

// A dependency list is this count, then as many DepRecords.
class DepCount {
 public:
  enum : std::size_t { kSize = 2 };
  unsigned char bytes[kSize] = {};

  std::uint16_t count() const { return get16(bytes); }
  void setCount(std::uint16_t value) { put16(bytes, value); }
};

class DepRecord {
 public:
  enum : std::size_t {
    kName = 0,
    kNameWidth = 16,
    kMinVersion = kName + kNameWidth,
    kUnused = kMinVersion + 4,
    kMaxVersion = kUnused + 4,
    kWeight = kMaxVersion + 4,
    kSize = kWeight + 4
  };
  unsigned char bytes[kSize] = {};

  std::string name() const { return fixedName(bytes + kName, kNameWidth); }
  std::uint32_t minVersion() const { return get32(bytes + kMinVersion); }  // 0: open
  std::uint32_t maxVersion() const { return get32(bytes + kMaxVersion); }  // 0: open
  std::int32_t weight() const { return static_cast<std::int32_t>(get32(bytes + kWeight)); }
  void setName(const std::string& name) { putFixedName(bytes + kName, kNameWidth, name); }
  void setMinVersion(std::uint32_t value) { put32(bytes + kMinVersion, value); }
  void setMaxVersion(std::uint32_t value) { put32(bytes + kMaxVersion, value); }
  void setWeight(std::int32_t value) { put32(bytes + kWeight, static_cast<std::uint32_t>(value)); }
};

// Contents of kPartSignature; bytes behind it are ignored.
class SignatureRecord {
 public:
  enum : std::size_t {
    kDigest = 0,
    kDigestSize = 20,
    kCheck = kDigest + kDigestSize,
    kCheckSize = 16,
    kScalar = kCheck + kCheckSize,
    kScalarSize = 32,
    kSize = kScalar + kScalarSize
  };
  unsigned char bytes[kSize] = {};

  const unsigned char* digest() const { return bytes + kDigest; }
  const unsigned char* check() const { return bytes + kCheck; }
  const unsigned char* scalar() const { return bytes + kScalar; }
};

// Stands before every entry of the file archive; the name and then the data follow.
class ArchiveHeader {
 public:
  enum : std::size_t {
    kMode = 0,
    kUser = kMode + 2,
    kGroup = kUser + 2,
    kUnused1 = kGroup + 2,
    kTime = kUnused1 + 2,
    kUnused2 = kTime + 4,
    kSkip = kUnused2 + 11,
    kDataSize = kSkip + 1,
    kNameLength = kDataSize + 4,
    kSize = kNameLength + 2
  };
  enum Type : std::uint16_t {
    kTypeMask = 0xF000,
    kFifo = 0x1000,
    kCharDevice = 0x2000,
    kDirectory = 0x4000,
    kBlockDevice = 0x6000,
    kRegular = 0x8000,
    kSymlink = 0xA000,
  };
  enum : std::uint32_t { kDeviceNumberSize = 4 };  // the data of a device entry
  unsigned char bytes[kSize] = {};

  std::uint16_t mode() const { return get16(bytes + kMode); }  // type and permission bits
  std::uint16_t type() const { return mode() & kTypeMask; }
  std::uint16_t user() const { return get16(bytes + kUser); }
  std::uint16_t group() const { return get16(bytes + kGroup); }
  std::uint32_t time() const { return get32(bytes + kTime); }  // seconds since 1970
  bool skip() const { return bytes[kSkip] != 0; }
  std::uint32_t dataSize() const { return get32(bytes + kDataSize); }
  std::uint16_t nameLength() const { return get16(bytes + kNameLength); }
  void setMode(std::uint16_t value) { put16(bytes + kMode, value); }
  void setUser(std::uint16_t value) { put16(bytes + kUser, value); }
  void setGroup(std::uint16_t value) { put16(bytes + kGroup, value); }
  void setTime(std::uint32_t value) { put32(bytes + kTime, value); }
  void setSkip(bool value) { bytes[kSkip] = value ? 1 : 0; }
  void setDataSize(std::uint32_t value) { put32(bytes + kDataSize, value); }
  void setNameLength(std::uint16_t value) { put16(bytes + kNameLength, value); }
};
