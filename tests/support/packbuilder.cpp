#include "tests/support/packbuilder.h"

#include "stream/sha1.h"
#include "tests/support/sign.h"

#include <cstdlib>

#include <zlib.h>

namespace {

template <typename Record>
std::string bytesOf(const Record& record) {
  return std::string(reinterpret_cast<const char*>(record.bytes), Record::kSize);
}

}  // namespace

PackageDep dep(const std::string& name, std::uint32_t minVersion, std::uint32_t maxVersion,
               std::int32_t weight) {
  PackageDep result;
  result.name = name;
  result.minVersion = minVersion;
  result.maxVersion = maxVersion;
  result.weight = weight;
  return result;
}

ArchiveBuilder& ArchiveBuilder::owner(std::uint16_t user, std::uint16_t group) {
  next_.setUser(user);
  next_.setGroup(group);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::time(std::uint32_t seconds) {
  next_.setTime(seconds);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::skip(bool on) {
  next_.setSkip(on);
  return *this;
}

ArchiveBuilder& ArchiveBuilder::regular(const std::string& name, const std::string& data,
                                        std::uint16_t permissions) {
  return entry(name, ArchiveHeader::kRegular | permissions, data);
}

ArchiveBuilder& ArchiveBuilder::directory(const std::string& name, std::uint16_t permissions) {
  return entry(name, ArchiveHeader::kDirectory | permissions, std::string());
}

ArchiveBuilder& ArchiveBuilder::symlink(const std::string& name, const std::string& target) {
  return entry(name, ArchiveHeader::kSymlink | 0777, target);
}

ArchiveBuilder& ArchiveBuilder::charDevice(const std::string& name, std::uint32_t number,
                                           std::uint16_t permissions) {
  unsigned char data[ArchiveHeader::kDeviceNumberSize];
  put32(data, number);
  return entry(name, ArchiveHeader::kCharDevice | permissions,
               std::string(data, data + sizeof data));
}

ArchiveBuilder& ArchiveBuilder::blockDevice(const std::string& name, std::uint32_t number,
                                            std::uint16_t permissions) {
  unsigned char data[ArchiveHeader::kDeviceNumberSize];
  put32(data, number);
  return entry(name, ArchiveHeader::kBlockDevice | permissions,
               std::string(data, data + sizeof data));
}

ArchiveBuilder& ArchiveBuilder::fifo(const std::string& name, std::uint16_t permissions) {
  return entry(name, ArchiveHeader::kFifo | permissions, std::string());
}

ArchiveBuilder& ArchiveBuilder::entry(const std::string& name, std::uint16_t mode,
                                      const std::string& data) {
  ArchiveHeader header = next_;
  header.setMode(mode);
  header.setDataSize(static_cast<std::uint32_t>(data.size()));
  header.setNameLength(static_cast<std::uint16_t>(name.size()));
  return entry(header, name, data);
}

ArchiveBuilder& ArchiveBuilder::entry(const ArchiveHeader& header, const std::string& name,
                                      const std::string& data) {
  return raw(bytesOf(header) + name + data);
}

ArchiveBuilder& ArchiveBuilder::raw(const std::string& bytes) {
  bytes_ += bytes;
  return *this;
}

std::string ArchiveBuilder::deflated() const { return ::deflated(bytes_); }

PackBuilder& PackBuilder::part(std::uint16_t type, const std::string& contents) {
  return partHeader(type, static_cast<std::uint32_t>(contents.size())).raw(contents);
}

PackBuilder& PackBuilder::partHeader(std::uint16_t type, std::uint32_t length) {
  if (type == kPartPackage) packageStart_ = parts_.size();
  PartHeader header;
  header.setType(type);
  header.setLength(length);
  return raw(bytesOf(header));
}

PackBuilder& PackBuilder::raw(const std::string& bytes) {
  parts_ += bytes;
  return *this;
}

PackBuilder& PackBuilder::header(const std::string& name, std::uint32_t version,
                                 std::uint32_t buildTime) {
  return part(kPartPackage, packageHeader(name, version, buildTime));
}

PackBuilder& PackBuilder::bundleHeader(const std::string& name, std::uint32_t version,
                                       std::uint32_t buildTime) {
  return part(kPartBundle, packageHeader(name, version, buildTime));
}

PackBuilder& PackBuilder::list(std::uint16_t type, const std::vector<PackageDep>& entries) {
  return part(type, dependencyList(entries));
}

PackBuilder& PackBuilder::archive(const ArchiveBuilder& entries) {
  return part(kPartArchive, entries.deflated());
}

PackBuilder& PackBuilder::image(const std::string& contents) { return part(kPartImage, contents); }

// The part's own header is under the signature, its contents cannot be.
PackBuilder& PackBuilder::sign(const std::string& extra) {
  partHeader(kPartSignature, static_cast<std::uint32_t>(SignatureRecord::kSize + extra.size()));
  const std::string signedDigest = digest();
  return raw(signatureFor(reinterpret_cast<const unsigned char*>(signedDigest.data()))).raw(extra);
}

std::string PackBuilder::digest() const {
  SHA1 hasher;
  hasher.update(parts_.data() + packageStart_,
                static_cast<unsigned>(parts_.size() - packageStart_));
  unsigned char digest[SHA1::kDigestSize];
  hasher.digest(digest);
  return std::string(digest, digest + sizeof digest);
}

std::string PackBuilder::finish() const {
  FileHeader header;
  header.setMagic(dumb_ ? kDumbMagic : kPackageMagic);
  header.setLength(static_cast<std::uint32_t>(parts_.size()));
  return bytesOf(header) + parts_;
}

std::string packageHeader(const std::string& name, std::uint32_t version, std::uint32_t buildTime) {
  PackageHeader header;
  header.setName(name);
  header.setVersion(version);
  header.setBuildTime(buildTime);
  return bytesOf(header);
}

std::string dependencyList(const std::vector<PackageDep>& entries) {
  DepCount count;
  count.setCount(static_cast<std::uint16_t>(entries.size()));
  std::string bytes = bytesOf(count);
  for (const PackageDep& entry : entries) {
    DepRecord record;
    record.setName(entry.name);
    record.setMinVersion(entry.minVersion);
    record.setMaxVersion(entry.maxVersion);
    record.setWeight(entry.weight);
    bytes += bytesOf(record);
  }
  return bytes;
}

std::string deflated(const std::string& data) {
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  std::string out(size, '\0');
  const int result =
      compress(reinterpret_cast<Bytef*>(&out[0]), &size,
               reinterpret_cast<const Bytef*>(data.data()), static_cast<uLong>(data.size()));
  if (result != Z_OK) std::abort();
  out.resize(size);
  return out;
}
