#include "tests/plan/flashfiles.h"

#include "tests/support/tree.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <stdexcept>

namespace {

std::string fileOf(const Package& package) { return "/opt/" + package.name; }

void place(Package& package) {
  if (!package.isBundle) {
    package.files = {fileOf(package)};
    writeFile(kFlashRoot + fileOf(package), package.name);
  }
  if (!package.makeMetaDir(false) || !package.writeMeta(false)) {
    throw std::runtime_error("no record for " + package.name);
  }
}

void describe(const Package& package, Lines& expected) {
  const std::string meta = "/var/pdb/" + package.name + "/";
  const std::string word = package.userForced ? "user" : "auto";
  expected.push_back(meta + "version");
  if (package.disabled) expected.push_back(meta + "disabled: " + word);
  if (!package.disabled && package.userForced) expected.push_back(meta + "enabled: " + word);
  if (!package.isBundle) expected.push_back(fileOf(package));
}

bool counts(const std::string& path, const std::string& name) {
  static const std::set<std::string> rest = {"deps", "provides", "conflicts", "bundle", "files"};
  return path.rfind("/var/pdb/", 0) != 0 || rest.count(name) == 0;
}

void appendMissing(const Lines& from, const Lines& in, const std::string& what, Lines& result) {
  Lines missing;
  std::set_difference(from.begin(), from.end(), in.begin(), in.end(), std::back_inserter(missing));
  for (const std::string& line : missing) result.push_back(what + line);
}

}  // namespace

Lines filesOnFlash() {
  Lines lines;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(kFlashRoot)) {
    if (entry.is_directory()) continue;
    const std::string path = entry.path().string().substr(sizeof kFlashRoot - 1);
    const std::string name = entry.path().filename().string();
    if (!counts(path, name)) continue;
    const bool isState = name == "disabled" || name == "enabled";
    const std::string contents = isState ? readFile(entry.path().string()) : "";
    lines.push_back(isState ? path + ": " + contents.substr(0, contents.find('\n')) : path);
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

FlashFiles::FlashFiles(const std::vector<Package*>& packages) {
  for (Package* package : packages) {
    if (!package->name.empty()) place(*package);
  }
}

Lines FlashFiles::differences(const std::vector<Package*>& packages) const {
  Lines expected;
  for (const Package* package : packages) {
    if (!package->name.empty()) describe(*package, expected);
  }
  std::sort(expected.begin(), expected.end());
  const Lines there = filesOnFlash();
  Lines result;
  appendMissing(there, expected, "left over on flash: ", result);
  appendMissing(expected, there, "missing on flash: ", result);
  return result;
}
