#include "model/packagefile.h"

#include "stream/ifilestream.h"
#include "stream/ipackstream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

#include <sys/stat.h>

namespace {

// Whether the file is as long as its header says: otherwise it was cut short or padded. Where the
// file system does not tell, the reading itself finds the end.
bool hasSize(const std::string& path, std::uint64_t size) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) return true;
  return static_cast<std::uint64_t>(status.st_size) == size;
}

// With the stream behind the description of a bundle or of a package that it carries.
void stepOverImage(ipackstream& in) {
  if (in.type() == kPartImage) in.next();
}

bool readCarried(ipackstream& in, std::list<PackageInfo*>& carried) {
  stepOverImage(in);
  while (in.type() == kPartPackage) {
    auto package = std::make_unique<PackageInfo>();
    if (!package->readFrom(in)) return false;
    carried.push_back(package.release());
    stepOverImage(in);
  }
  return !carried.empty();
}

}  // namespace

bool hasPostfix(std::string_view text, std::string_view postfix) {
  return text.size() >= postfix.size() && std::memcmp(text.data() + text.size() - postfix.size(),
                                                      postfix.data(), postfix.size()) == 0;
}

PackageFile::~PackageFile() = default;

bool PackageFile::readFrom(const std::string& filePath) {
  path = filePath;
  foundPath = filePath;
  ifilestream file(filePath);
  ipackstream in(file, true);
  size = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(in.totalSize(), std::numeric_limits<std::uint32_t>::max()));
  if (!hasSize(filePath, in.totalSize())) return false;
  isDumb = in.isDumb();

  for (const PartType type : {kPartBundle, kPartPackage, kPartArchitecture, kPartDescription,
                              kPartRequires, kPartProvides, kPartConflicts, kPartImage}) {
    in.accept(type);
  }
  in.next();
  if (!PackageInfo::readFrom(in)) return false;
  return !isBundle || readCarried(in, subPackages);
}
