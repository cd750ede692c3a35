#include "tools/tpk/make/manifest.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/text.h"
#include "tools/tpk/make/manifestfiles.h"
#include "tools/tpk/make/manifestlists.h"
#include "tools/tpk/make/tomltable.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace {

const char kDefaultArchitecture[] = "mipsel";
const char kManifestName[] = "package.toml";

const std::vector<std::string> kKeys = {
    "name",  "version",  "build-time", "architecture", "description", "dumb",
    "image", "requires", "provides",   "conflicts",    "oninstall",   "onuninstall",
    "files", "exclude",  "rule",       "entry",        "compression", "bundle"};

// What only a package has that is no bundle.
const char* const kPackageKeys[] = {"oninstall", "onuninstall", "files",      "exclude",
                                    "rule",      "entry",       "compression"};

Manifest readDescription(const std::string& path, const toml::node* memberOf,
                         const TomlSource* bundle);

std::optional<std::string> readScript(const TableReader& table, const char* key,
                                      Manifest& manifest) {
  const toml::node* const node = table.find(key);
  if (!node) return std::nullopt;
  if (!node->is_table()) return table.textOf(*node, key);
  const TableReader reference(table.source(), *node->as_table(), {"file"});
  const toml::node& file = reference.need("file", "\"script.sh\"");
  const std::string name = reference.text("file");
  if (name.empty()) table.source().fail(file, "file is empty; name the script");
  manifest.inputs.push_back(table.source().resolve(name));
  return readHostFile(manifest.inputs.back());
}

void warnAt(const TableReader& table, const toml::node& node, const std::string& what,
            Manifest& manifest) {
  manifest.warnings.push_back(table.source().where(node) + ": " + what);
}

// What is well-formed, and still not what its author means.
void judgeScripts(const TableReader& table, Manifest& manifest) {
  const toml::node* const onInstall = table.find("oninstall");
  if (onInstall && manifest.image)
    warnAt(table, *onInstall, "oninstall never runs: the router passes it over with image = true",
           manifest);
  for (const char* key : {"oninstall", "onuninstall"})
    if (table.find(key) && manifest.dumb)
      warnAt(table, *table.find(key),
             std::string(key) +
                 " makes the installation fail, as dumb = true leaves no record that "
                 "keeps it, unless a package of this name is installed",
             manifest);
}

void readMembers(const TableReader& bundle, Manifest& manifest) {
  const TomlSource& source = bundle.source();
  for (const toml::node& node : bundle.array("members")) {
    const std::string path = bundle.textOf(node, "members");
    if (path.empty()) source.fail(node, "a member's path is empty; name its folder");
    Manifest member = readDescription(source.resolve(path), &node, &source);
    if (member.name == manifest.name)
      source.fail(node, "the member " + quoted(path) + " has the bundle's own name " +
                            quoted(member.name) + "; rename one of them");
    for (const Manifest& earlier : manifest.members)
      if (earlier.name == member.name)
        source.fail(node, "a second package of the name " + quoted(member.name));
    manifest.warnings.insert(manifest.warnings.end(), member.warnings.begin(),
                             member.warnings.end());
    manifest.members.push_back(std::move(member));
  }
}

void judgeTurnOff(const TableReader& bundle, Manifest& manifest) {
  for (const PackageDep& dep : manifest.turnOff) {
    const auto isNamed = [&dep](const Manifest& member) { return member.name == dep.name; };
    if (std::none_of(manifest.members.begin(), manifest.members.end(), isNamed))
      warnAt(bundle, *bundle.find("turn-off"),
             "turn-off names " + quoted(dep.name) + ", which is no member", manifest);
  }
}

void readBundle(const TableReader& table, const toml::node& node, Manifest& manifest) {
  const TomlSource& source = table.source();
  if (!node.is_table()) source.fail(node, "bundle must be a table: [bundle]");
  for (const char* key : kPackageKeys)
    if (table.find(key))
      source.fail(*table.find(key),
                  "a bundle has no " + std::string(key) + "; give it to one of the members");

  const TableReader bundle(source, *node.as_table(), {"members", "turn-off"});
  readMembers(bundle, manifest);
  if (manifest.members.empty())
    source.fail(node, "a bundle needs members; add members = [\"folder\"]");
  manifest.turnOff = readRelations(bundle, "turn-off", Weights::kRefused);
  judgeTurnOff(bundle, manifest);
  manifest.isBundle = true;
}

// A bundle cannot carry another one: said before the members of that are read, which may lead back
// to where this began.
void checkMember(const TableReader& table, const toml::node& node, const TomlSource& bundle) {
  if (table.find("bundle"))
    bundle.fail(node, quoted(table.source().path()) +
                          " is a bundle, which cannot be in another one; list its members");
  if (table.flag("dumb"))
    bundle.fail(node, quoted(table.source().path()) +
                          " has dumb = true, which is for whole files; give it to the bundle");
}

// A folder's description, without the "/" that shells complete behind a folder.
std::string manifestFile(const std::string& path) {
  if (!isHostDirectory(path)) return path;
  const auto end = path.find_last_not_of('/');
  return (end == std::string::npos ? "" : path.substr(0, end + 1)) + "/" + kManifestName;
}

void readHeader(const TableReader& table, Manifest& manifest) {
  const toml::node& name = table.need("name", "\"hello\"");
  manifest.name = checkedName(table.source(), name, table.text("name"));
  manifest.version = readVersion(table, "version");
  if (table.find("build-time"))
    manifest.buildTime = static_cast<std::uint32_t>(
        table.number("build-time", 0, std::numeric_limits<std::uint32_t>::max(), 0));
  manifest.architecture = table.text("architecture", kDefaultArchitecture);
  manifest.description = table.text("description", "");
  manifest.dumb = table.flag("dumb");
  manifest.image = table.flag("image");
  manifest.deps = readRelations(table, "requires", Weights::kRefused);
  manifest.provides = readRelations(table, "provides", Weights::kAllowed);
  manifest.conflicts = readRelations(table, "conflicts", Weights::kRefused);
}

// memberOf: where the bundle names this package; null for one that stands alone.
Manifest readDescription(const std::string& path, const toml::node* memberOf,
                         const TomlSource* bundle) {
  const std::string file = manifestFile(path);
  const toml::table document = parseToml(file);
  const TomlSource source(file);
  const TableReader table(source, document, kKeys);
  if (memberOf) checkMember(table, *memberOf, *bundle);
  Manifest manifest;
  manifest.inputs.push_back(file);
  manifest.buildTime = sourceDateEpoch();
  readHeader(table, manifest);
  if (const toml::node* const node = table.find("bundle")) {
    readBundle(table, *node, manifest);
    return manifest;
  }
  manifest.onInstall = readScript(table, "oninstall", manifest);
  manifest.onUninstall = readScript(table, "onuninstall", manifest);
  judgeScripts(table, manifest);
  readFileKeys(table, manifest);
  return manifest;
}

}  // namespace

Manifest readManifest(const std::string& path) { return readDescription(path, nullptr, nullptr); }

std::optional<std::uint32_t> sourceDateEpoch() {
  const char* const given = std::getenv("SOURCE_DATE_EPOCH");
  if (!given) return std::nullopt;
  char* end = nullptr;
  const unsigned long long seconds = std::strtoull(given, &end, 10);
  if (*given < '0' || *given > '9' || *end != '\0' ||
      seconds > std::numeric_limits<std::uint32_t>::max())
    throw Failure("SOURCE_DATE_EPOCH: " + quoted(given) + " is no number of seconds since 1970");
  return static_cast<std::uint32_t>(seconds);
}
