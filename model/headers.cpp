// A description as it stands in a package file: the header record and the parts behind it, in the
// order of docs/format.md.
#include "model/packageinfo.h"
#include "stream/ipackstream.h"
#include "stream/packformat.h"
#include "stream/readbytes.h"

namespace {

// A package's name is a directory of the database, and what is deleted with it.
bool canBeDirectory(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

template <typename Record>
bool readRecord(ipackstream& in, Record& record) {
  return static_cast<bool>(in.read(reinterpret_cast<char*>(record.bytes), Record::kSize));
}

// These read their part and step over it when the stream stands on it; otherwise they leave
// everything as it was. False on a short read.
bool takeText(ipackstream& in, PartType type, std::string& text) {
  if (in.type() != type) return true;
  // Exactly what the part has left: a read past its end would fail the stream for the parts behind.
  text.clear();
  if (!readBytes(in, in.remaining(), text)) return false;
  in.next();
  return true;
}

bool takeDeps(ipackstream& in, PartType type, std::vector<PackageDep>& list) {
  if (in.type() != type) return true;
  if (!readDeps(in, list)) return false;
  in.next();
  return true;
}

}  // namespace

bool readDeps(ipackstream& in, std::vector<PackageDep>& list) {
  DepCount count;
  if (!readRecord(in, count)) return false;
  for (unsigned left = count.count(); left != 0; --left) {
    DepRecord record;
    if (!readRecord(in, record)) return false;
    const PackageDep dep = {record.name(), record.minVersion(), record.maxVersion(),
                            record.weight()};
    list.push_back(dep);
  }
  return true;
}

bool PackageInfo::readFrom(ipackstream& in) {
  if (in.type() != kPartPackage && in.type() != kPartBundle) return false;
  isBundle = in.type() == kPartBundle;

  PackageHeader header;
  if (!readRecord(in, header)) return false;
  // Copied, here and elsewhere: the code that moves one string into another is not small.
  const std::string ownName = header.name();
  name = ownName;
  version = header.version();
  buildTime = header.buildTime();
  if (!canBeDirectory(name)) return false;

  in.next();
  arch = "i386";
  if (!takeText(in, kPartArchitecture, arch) || !takeText(in, kPartDescription, description) ||
      !takeDeps(in, kPartRequires, deps) || !takeDeps(in, kPartProvides, provides) ||
      !takeDeps(in, kPartConflicts, conflicts)) {
    return false;
  }
  if (in.type() == kPartImage) hasImage = true;
  return true;
}
