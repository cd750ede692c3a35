#include "tools/tpk/manifest.h"

#include "stream/packformat.h"
#include "tools/tpk/failure.h"
#include "tools/tpk/hostfile.h"
#include "tools/tpk/versiontext.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <limits>

#include <toml++/toml.h>

namespace {

const char kDefaultArchitecture[] = "mipsel";
const char kManifestName[] = "package.toml";

// Ends in "/"; empty for the folder that is current.
std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

// One description file: where errors are, and what its paths are relative to.
class Source {
 public:
  explicit Source(const std::string& path) : path_(path) {}

  [[noreturn]] void fail(const toml::node& node, const std::string& what) const {
    throw Failure(path_ + ":" + std::to_string(node.source().begin.line) + ": " + what);
  }

  std::string resolve(const std::string& path) const {
    return !path.empty() && path[0] == '/' ? path : folderOf(path_) + path;
  }

 private:
  std::string path_;
};

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

// The values of one table, by key and type.
class TableReader {
 public:
  TableReader(const Source& source, const toml::table& table,
              std::initializer_list<const char*> keys)
      : source_(source), table_(table) {
    for (const auto& [key, value] : table) {
      const auto isKey = [&key = key](const char* known) { return key == known; };
      if (std::none_of(keys.begin(), keys.end(), isKey))
        source.fail(value, "unknown key " + quoted(std::string(key.str())));
    }
  }

  const Source& source() const { return source_; }
  const toml::node* find(const char* key) const { return table_.get(key); }

  const toml::node& need(const char* key) const {
    const toml::node* const node = find(key);
    if (!node) source_.fail(table_, std::string(key) + " is missing");
    return *node;
  }

  std::string text(const char* key) const { return textOf(need(key), key); }
  std::string text(const char* key, const std::string& otherwise) const {
    return find(key) ? text(key) : otherwise;
  }

  bool flag(const char* key) const {
    const toml::node* const node = find(key);
    if (!node) return false;
    if (!node->is_boolean()) source_.fail(*node, std::string(key) + " must be true or false");
    return node->as_boolean()->get();
  }

  std::int64_t number(const char* key, std::int64_t least, std::int64_t most,
                      std::int64_t otherwise) const {
    const toml::node* const node = find(key);
    if (!node) return otherwise;
    if (!node->is_integer()) source_.fail(*node, std::string(key) + " must be a whole number");
    const std::int64_t value = node->as_integer()->get();
    if (value < least || value > most)
      source_.fail(*node, std::string(key) + " must be from " + std::to_string(least) + " to " +
                              std::to_string(most));
    return value;
  }

  // Empty when there is none.
  const toml::array& array(const char* key) const {
    static const toml::array none;
    const toml::node* const node = find(key);
    if (!node) return none;
    if (!node->is_array()) source_.fail(*node, std::string(key) + " must be a list");
    return *node->as_array();
  }

  std::string textOf(const toml::node& node, const char* key) const {
    if (!node.is_string()) source_.fail(node, std::string(key) + " must be a text");
    return node.as_string()->get();
  }

 private:
  const Source& source_;
  const toml::table& table_;
};

// A name becomes a directory of the router's database and a word in its lists.
std::string checkedName(const Source& source, const toml::node& node, const std::string& name) {
  const auto isBad = [](unsigned char c) { return c <= ' ' || c == '/' || c == 0x7f; };
  if (name.empty() || name == "." || name == "..") source.fail(node, quoted(name) + " is no name");
  if (name.size() > PackageHeader::kNameWidth)
    source.fail(node, "the name " + quoted(name) + " has " + std::to_string(name.size()) +
                          " bytes, " + std::to_string(PackageHeader::kNameWidth) + " are the most");
  if (std::any_of(name.begin(), name.end(), isBad))
    source.fail(node, "the name " + quoted(name) + " has white space or a \"/\" in it");
  return name;
}

std::uint32_t versionOf(const TableReader& table, const char* key) {
  const toml::node& node = table.need(key);
  const std::string text = table.textOf(node, key);
  std::uint32_t version = 0;
  if (!parseVersion(text, version))
    table.source().fail(node, quoted(text) + " is no version such as 3.22, 3.22.1 or 3.20rc2");
  return version;
}

enum class Weights { kAllowed, kRefused };

PackageDep readDep(const Source& source, const toml::node& node, Weights weights) {
  PackageDep dep;
  if (node.is_string()) {
    dep.name = checkedName(source, node, node.as_string()->get());
    return dep;
  }
  if (!node.is_table())
    source.fail(node, "expected a name or { name = ..., min = ..., max = ... }");

  const TableReader table(source, *node.as_table(), {"name", "min", "max", "weight"});
  dep.name = checkedName(source, table.need("name"), table.text("name"));
  if (table.find("min")) dep.minVersion = versionOf(table, "min");
  if (table.find("max")) dep.maxVersion = versionOf(table, "max");
  if (dep.maxVersion != 0 && dep.maxVersion < dep.minVersion)
    source.fail(node, "max is below min: no version is in this range");
  if (weights == Weights::kRefused && table.find("weight"))
    source.fail(table.need("weight"), "only what a package provides has a weight");
  dep.weight =
      static_cast<std::int32_t>(table.number("weight", std::numeric_limits<std::int32_t>::min(),
                                             std::numeric_limits<std::int32_t>::max(), 0));
  return dep;
}

std::vector<PackageDep> readList(const TableReader& table, const char* key, Weights weights) {
  const toml::array& array = table.array(key);
  std::vector<PackageDep> list;
  for (const toml::node& node : array) list.push_back(readDep(table.source(), node, weights));
  if (list.size() > std::numeric_limits<std::uint16_t>::max())
    table.source().fail(array, std::string(key) + " has more than 65535 entries");
  return list;
}

std::optional<std::string> readScript(const TableReader& table, const char* key) {
  const toml::node* const node = table.find(key);
  if (!node) return std::nullopt;
  if (!node->is_table()) return table.textOf(*node, key);
  const TableReader reference(table.source(), *node->as_table(), {"file"});
  return readHostFile(table.source().resolve(reference.text("file")));
}

Manifest readMember(const Source& source, const toml::node& node, const std::string& path,
                    std::uint32_t buildTime) {
  Manifest member = readManifest(source.resolve(path), buildTime);
  if (member.isBundle)
    source.fail(node, quoted(path) + " is a bundle: it cannot be in another one");
  return member;
}

void readBundle(const TableReader& table, const toml::node& node, std::uint32_t buildTime,
                Manifest& manifest) {
  const Source& source = table.source();
  if (!node.is_table()) source.fail(node, "bundle must be a table");
  for (const char* key : {"files", "oninstall", "onuninstall"})
    if (table.find(key)) source.fail(table.need(key), "a bundle has no " + std::string(key));

  const TableReader bundle(source, *node.as_table(), {"members", "turn-off"});
  for (const toml::node& path : bundle.array("members")) {
    Manifest member = readMember(source, path, bundle.textOf(path, "members"), buildTime);
    for (const Manifest& earlier : manifest.members)
      if (earlier.name == member.name)
        source.fail(path, "a second package of the name " + quoted(member.name));
    manifest.members.push_back(std::move(member));
  }
  if (manifest.members.empty()) source.fail(node, "a bundle needs members");
  manifest.turnOff = readList(bundle, "turn-off", Weights::kRefused);
  manifest.isBundle = true;
}

toml::table parse(const std::string& path) {
  const std::string text = readHostFile(path);
  try {
    return toml::parse(text, path);
  } catch (const toml::parse_error& error) {
    throw Failure(path + ":" + std::to_string(error.source().begin.line) + ": " +
                  std::string(error.description()));
  }
}

}  // namespace

Manifest readManifest(const std::string& path, std::uint32_t buildTime) {
  const std::string file = isHostDirectory(path) ? path + "/" + kManifestName : path;
  const toml::table document = parse(file);
  const Source source(file);
  const TableReader table(
      source, document,
      {"name", "version", "build-time", "architecture", "description", "image", "requires",
       "provides", "conflicts", "oninstall", "onuninstall", "files", "bundle"});
  Manifest manifest;
  manifest.name = checkedName(source, table.need("name"), table.text("name"));
  manifest.version = versionOf(table, "version");
  manifest.buildTime = static_cast<std::uint32_t>(
      table.number("build-time", 0, std::numeric_limits<std::uint32_t>::max(), buildTime));
  manifest.architecture = table.text("architecture", kDefaultArchitecture);
  manifest.description = table.text("description", "");
  manifest.image = table.flag("image");
  manifest.deps = readList(table, "requires", Weights::kRefused);
  manifest.provides = readList(table, "provides", Weights::kAllowed);
  manifest.conflicts = readList(table, "conflicts", Weights::kRefused);
  if (const toml::node* const bundle = table.find("bundle")) {
    readBundle(table, *bundle, buildTime, manifest);
    return manifest;
  }
  manifest.onInstall = readScript(table, "oninstall");
  manifest.onUninstall = readScript(table, "onuninstall");
  if (table.find("files")) manifest.files = source.resolve(table.text("files"));
  return manifest;
}

std::uint32_t defaultBuildTime() {
  const char* const given = std::getenv("SOURCE_DATE_EPOCH");
  if (!given) return static_cast<std::uint32_t>(std::time(nullptr));
  char* end = nullptr;
  const unsigned long long seconds = std::strtoull(given, &end, 10);
  if (*given < '0' || *given > '9' || *end != '\0' ||
      seconds > std::numeric_limits<std::uint32_t>::max())
    throw Failure("SOURCE_DATE_EPOCH: " + quoted(given) + " is no number of seconds since 1970");
  return static_cast<std::uint32_t>(seconds);
}
