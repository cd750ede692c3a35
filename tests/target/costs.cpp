// One piece of the program's work, for scripts/target-figures, which counts what it costs on the
// board's processor: the same arguments, the same work, to the last instruction.
//
//   costs hash <bytes>             SHA-1 of so many bytes
//   costs pack <bytes> <file>      writes a compressed file of so many bytes of text
//   costs inflate <file>           reads it
//   costs signature <times>        checks a signature with the built-in key; it is not a good one
//   costs fill <packages>          a repository of so many packages, for what follows
//   costs plan <packages>          plans a run in which nothing is to be done
//   costs uninstall <packages>     plans to uninstall all but one
//   costs candidates <packages>    chooses among so many new packages
//
// Only what "costs ... 0" does not cost is the work.
#include "model/version.h"
#include "package/package.h"
#include "repo/repo.h"
#include "stream/icstream.h"
#include "stream/ifilestream.h"
#include "stream/ocstream.h"
#include "stream/sha1.h"
#include "stream/signature.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

using Number = std::size_t;

constexpr std::uint32_t kVersion = packVersion(3, 22, kKindFinal, 0);

PackageDep dep(const std::string& name, std::uint32_t minVersion = 0) {
  PackageDep result;
  result.name = name;
  result.minVersion = minVersion;
  return result;
}

std::string nameOf(Number i) {
  return i == 0 ? std::string("system") : "package-" + std::to_string(i);
}

// All need the system, many need one or two others, some stand in for a name.
void describe(PackageInfo& info, Number i) {
  info.name = nameOf(i);
  info.version = kVersion;
  info.buildTime = static_cast<std::uint32_t>(i);
  if (i == 0) return;
  info.deps.push_back(dep("system", kVersion));
  if (i % 2 == 0) info.deps.push_back(dep(nameOf(i / 2)));
  if (i % 3 == 0) info.deps.push_back(dep("service-" + std::to_string(i / 3)));
  info.provides.push_back(dep("service-" + std::to_string(i)));
  if (i % 7 == 0) info.conflicts.push_back(dep("former-" + std::to_string(i)));
}

Repo* repoOf(Number count) {
  Repo* const repo = Repo::getRepo();
  for (Number i = 0; i < count; ++i) {
    auto* const package = new Package;
    describe(*package, i);
    repo->addPackage(package);
  }
  return repo;
}

bool hash(Number bytes) {
  const std::string chunk(1024, 'x');
  SHA1 hasher;
  for (Number done = 0; done < bytes; done += chunk.size()) {
    hasher.update(chunk.data(), static_cast<unsigned>(chunk.size()));
  }
  hasher.finish(false);
  unsigned char digest[SHA1::kDigestSize];
  hasher.digest(digest);
  return true;
}

// Text as it compresses: a third of its length is left.
bool pack(Number bytes, const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  ocstream packed(file);
  std::uint32_t state = 1;
  for (Number i = 0; i < bytes; ++i) {
    state = state * 1664525 + 1013904223;
    packed.put("eeetaoinshrdlucm  .\n"[(state >> 24) % 20]);
  }
  return packed.finish() && file.flush();
}

bool inflate(const std::string& path) {
  ifilestream file(path);
  icstream unpacked(file, false);
  std::vector<char> chunk(4096);
  while (unpacked.read(chunk.data(), static_cast<std::streamsize>(chunk.size()))) {
  }
  return unpacked.isComplete();
}

bool checkSignatures(Number times) {
  SignatureRecord record;
  for (Number i = 0; i < sizeof record.bytes; ++i) {
    record.bytes[i] = static_cast<unsigned char>(i * 37 + 11);
  }
  bool good = false;
  for (Number i = 0; i < times; ++i) good = goodSignatureRecord(record, record.digest()) || good;
  return !good;
}

bool plan(Number count) { return repoOf(count)->scheduleAndExec(1) == 0; }

bool planToUninstall(Number count) {
  Repo* const repo = repoOf(count);
  for (Package* package : repo->installed()) {
    package->scheduledAction = package->name == "system" ? kActionNone : kActionUninstall;
  }
  std::vector<Package*> removals;
  std::vector<Package*> enables;
  repo->planRequests(removals, enables, 0);
  return count == 0 || removals.size() + 1 == count;
}

bool selectCandidates(Number count) {
  std::vector<std::unique_ptr<PackageInfo>> found;
  std::vector<PackageInfo*> candidates;
  for (Number i = 0; i < count; ++i) {
    found.push_back(std::make_unique<PackageInfo>());
    describe(*found.back(), i);
    candidates.push_back(found.back().get());
  }
  Repo::getRepo()->selectCandidates(candidates, false, false);
  return candidates.size() == count;
}

bool work(const std::string& what, const std::string& argument, const std::string& path) {
  const Number number = std::strtoul(argument.c_str(), nullptr, 10);
  if (what == "hash") return hash(number);
  if (what == "pack") return pack(number, path);
  if (what == "inflate") return inflate(argument);
  if (what == "signature") return checkSignatures(number);
  if (what == "fill") return repoOf(number) != nullptr;
  if (what == "plan") return plan(number);
  if (what == "uninstall") return planToUninstall(number);
  if (what == "candidates") return selectCandidates(number);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 3 && work(argv[1], argv[2], argc > 3 ? argv[3] : "")) return 0;
  std::cerr << "costs: this did not work\n";
  return 1;
}
