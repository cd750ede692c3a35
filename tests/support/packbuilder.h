// Package files (stream/packformat.h) in memory, for tests. What is asked for is built without any
// check: a wrong order, a wrong length or a missing part is a test of its own.
#pragma once

#include "model/packagedep.h"
#include "stream/packformat.h"

#include <cstdint>
#include <string>
#include <vector>

// 3.22, where any version does.
constexpr std::uint32_t kVersion = 0x03166600;

// Both bounds open unless given.
PackageDep dep(const std::string& name, std::uint32_t minVersion = 0, std::uint32_t maxVersion = 0,
               std::int32_t weight = 0);

// The file archive of a package: entries back to back.
class ArchiveBuilder {
 public:
  // For the entries that follow.
  ArchiveBuilder& owner(std::uint16_t user, std::uint16_t group);
  ArchiveBuilder& time(std::uint32_t seconds);
  ArchiveBuilder& skip(bool on = true);

  // Permission bits without the type.
  ArchiveBuilder& regular(const std::string& name, const std::string& data,
                          std::uint16_t permissions = 0644);
  ArchiveBuilder& directory(const std::string& name, std::uint16_t permissions = 0755);
  ArchiveBuilder& symlink(const std::string& name, const std::string& target);
  ArchiveBuilder& charDevice(const std::string& name, std::uint32_t number,
                             std::uint16_t permissions = 0600);
  ArchiveBuilder& blockDevice(const std::string& name, std::uint32_t number,
                              std::uint16_t permissions = 0600);
  ArchiveBuilder& fifo(const std::string& name, std::uint16_t permissions = 0600);
  // Any mode, any data: a device of the wrong size, a type that does not exist.
  ArchiveBuilder& entry(const std::string& name, std::uint16_t mode, const std::string& data);
  // The header as it stands, wrong lengths included.
  ArchiveBuilder& entry(const ArchiveHeader& header, const std::string& name,
                        const std::string& data);
  ArchiveBuilder& raw(const std::string& bytes);

  const std::string& bytes() const { return bytes_; }
  // As one zlib stream: the contents of a part of type kPartArchive.
  std::string deflated() const;

 private:
  ArchiveHeader next_;  // what owner(), time() and skip() set
  std::string bytes_;
};

class PackBuilder {
 public:
  explicit PackBuilder(bool dumb = false) : dumb_(dumb) {}

  // Texts and scripts are parts like any other.
  PackBuilder& part(std::uint16_t type, const std::string& contents);
  // A part header that announces length bytes; the contents follow through raw(), or do not.
  PackBuilder& partHeader(std::uint16_t type, std::uint32_t length);
  PackBuilder& raw(const std::string& bytes);

  // Opens one package: sign() and digest() count from here.
  PackBuilder& header(const std::string& name, std::uint32_t version, std::uint32_t buildTime = 0);
  PackBuilder& bundleHeader(const std::string& name, std::uint32_t version,
                            std::uint32_t buildTime = 0);
  // kPartRequires, kPartProvides, kPartConflicts, kPartTurnOff.
  PackBuilder& list(std::uint16_t type, const std::vector<PackageDep>& entries);
  PackBuilder& archive(const ArchiveBuilder& entries);
  PackBuilder& image(const std::string& contents = std::string());
  // Signs the package so far with the development product's key; extra follows the record inside
  // the part.
  PackBuilder& sign(const std::string& extra = std::string());

  // The 20 bytes of the digest of the package so far.
  std::string digest() const;
  // The file with its header.
  std::string finish() const;

 private:
  bool dumb_;
  std::string parts_;
  std::size_t packageStart_ = 0;
};

// The contents of a part of type kPartPackage or kPartBundle.
std::string packageHeader(const std::string& name, std::uint32_t version, std::uint32_t buildTime);
// The contents of a list part.
std::string dependencyList(const std::vector<PackageDep>& entries);
// One zlib stream, made without the project's own streams.
std::string deflated(const std::string& data);
