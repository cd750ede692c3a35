#include "tools/tpk/show/rebuild.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/make/build.h"
#include "tools/tpk/make/manifest.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/packreader.h"
#include "tools/tpk/read/partnames.h"

#include <algorithm>
#include <vector>

namespace {

enum : std::size_t { kCompareSize = 65536 };

// A package's parts but a signature as tpk sign makes it.
std::vector<PartSpan> partsToBuild(const PackedPackage& package) {
  std::vector<PartSpan> parts = package.parts;
  if (parts.back().type == kPartSignature && parts.back().size == SignatureRecord::kSize)
    parts.pop_back();
  return parts;
}

bool sameContents(const InputFile& a, const PartSpan& inA, const InputFile& b,
                  const PartSpan& inB) {
  const auto first = a.open();
  const auto second = b.open();
  first->seekg(static_cast<std::streamoff>(inA.offset));
  second->seekg(static_cast<std::streamoff>(inB.offset));
  std::vector<char> one(kCompareSize);
  std::vector<char> other(kCompareSize);
  for (std::size_t left = inA.size; left > 0;) {
    const std::size_t count = std::min<std::size_t>(left, kCompareSize);
    first->read(one.data(), static_cast<std::streamsize>(count));
    second->read(other.data(), static_cast<std::streamsize>(count));
    if (!*first || !*second || !std::equal(one.data(), one.data() + count, other.data()))
      return false;
    left -= count;
  }
  return true;
}

std::string differenceOf(const InputFile& original, const PackedPackage& package,
                         const InputFile& built, const PackedPackage& again) {
  const std::vector<PartSpan> parts = partsToBuild(package);
  const std::string whose = printable(package.info.name) + ": ";
  for (std::size_t i = 0; i < std::min(parts.size(), again.parts.size()); ++i) {
    const PartSpan& made = again.parts[i];
    if (parts[i].type != made.type)
      return whose + "its " + partName(parts[i].type) + " stands where tpk puts its " +
             partName(made.type);
    if (parts[i].size != made.size || !sameContents(original, parts[i], built, made))
      return whose + "its " + partName(made.type) + " is not as tpk would write it";
  }
  if (parts.size() > again.parts.size())
    return whose + "its " + partName(parts[again.parts.size()].type) +
           " is no part that tpk writes";
  if (parts.size() < again.parts.size())
    return whose + "it has no " + partName(again.parts[parts.size()].type);
  return "";
}

std::string differenceOf(const InputFile& original, const PackedFile& contents,
                         const InputFile& built) {
  const PackedFile again = readPackedFile(built);
  if (!contents.strays.empty()) return "there are unknown parts before its first header";
  if (contents.trailing > 0) return "there are bytes behind its last part";
  if (contents.bundle) {
    std::string found = differenceOf(original, *contents.bundle, built, *again.bundle);
    if (!found.empty()) return found;
  }
  for (std::size_t i = 0; i < contents.packages.size(); ++i) {
    std::string found = differenceOf(original, *contents.packages[i], built, *again.packages[i]);
    if (!found.empty()) return found;
  }
  return "";
}

}  // namespace

RebuildResult rebuildAndCompare(const std::string& folder, const InputFile& original,
                                const PackedFile& contents) {
  RebuildResult result;
  const TemporaryFile file;
  try {
    buildPackage(readManifest(folder), nullptr, file.path());
  } catch (const EnvironmentFailure&) {
    throw;
  } catch (const Failure& failure) {
    result.problem = std::string("cannot be built again: ") + failure.what();
    return result;
  }
  const InputFile built(file.path());
  result.difference = differenceOf(original, contents, built);
  return result;
}
