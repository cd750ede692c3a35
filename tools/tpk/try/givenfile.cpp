#include "tools/tpk/try/givenfile.h"

#include "model/packagefile.h"
#include "stream/outputfile.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/read/diagnosis.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/packreader.h"
#include "tools/tpk/try/scratchroot.h"

#include <vector>

namespace {

constexpr char kDropDirectory[] = "/flash/rw/pckg/";
constexpr char kStandardInputName[] = "stdin.tpk";
enum : std::size_t { kCopySize = 65536 };

std::string dropNameOf(const std::string& path) {
  if (path == "-") return kStandardInputName;
  std::string name = path.substr(path.rfind('/') + 1);
  if (name[0] == '.' ||
      !(hasPostfix(name, kPackageSuffix) || hasPostfix(name, kOtherPackageSuffix))) {
    throw UsageFailure(path + ": the installer passes over files that are not named NAME" +
                       kPackageSuffix + " or NAME" + kOtherPackageSuffix);
  }
  return name;
}

GivenPackage describe(const PackedPackage& package) {
  GivenPackage given;
  given.name = package.info.name;
  given.fullName = package.info.getFullName();
  given.version = package.info.version;
  given.buildTime = package.info.buildTime;
  given.arch = package.info.arch;
  given.deps = package.info.deps;
  // A package with an image is not set up by a script.
  given.hasInstallScript = package.onInstall.has_value() && !package.info.hasImage;
  return given;
}

void readHeaders(const InputFile& file, GivenFile& given) {
  const PackedFile packed = readPackedFile(file);
  given.leavesRecord = !packed.dumb;
  given.isBundle = packed.bundle != nullptr;
  if (packed.bundle) given.packages.push_back(describe(*packed.bundle));
  for (const auto& package : packed.packages) given.packages.push_back(describe(*package));
}

std::string faultOf(const InputFile& file) {
  const Diagnosis diagnosis = diagnose(file, readLayout(*file.open(), file.size()));
  if (diagnosis.good || diagnosis.findings.empty()) return std::string();
  return explanation(diagnosis.findings.front());
}

void copyTo(const InputFile& file, const std::string& target) {
  const std::unique_ptr<std::istream> in = file.open();
  OutputFile out(target);
  std::vector<char> buffer(kCopySize);
  do {
    in->read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    out.write(std::string(buffer.data(), static_cast<std::size_t>(in->gcount())));
  } while (in->good());
  if (!out.close()) failWithErrno(target, "cannot be written");
}

}  // namespace

GivenFile dropFile(const std::string& path, const ScratchRoot& root) {
  GivenFile given;
  given.path = path;
  given.dropName = dropNameOf(path);
  const InputFile file(path);
  const std::string target = root.path(kDropDirectory + given.dropName);
  if (hostFileExists(target)) throw UsageFailure(path + ": two files of this name are given");
  copyTo(file, target);
  given.fault = faultOf(file);
  try {
    readHeaders(file, given);
  } catch (const EnvironmentFailure&) {
    throw;
  } catch (const Failure& failure) {
    if (given.fault.empty()) given.fault = failure.what();
  }
  return given;
}
