#include "tools/tpk/make/manifestfiles.h"

#include "stream/packformat.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/text.h"
#include "tools/tpk/make/filetree.h"
#include "tools/tpk/read/entrypath.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <sys/sysmacros.h>

namespace {

enum : std::uint16_t { kMostPermissions = 07777 };
enum : std::int64_t {
  kMostOwner = 0xFFFF,
  kMostTime = 0xFFFFFFFF,
  kMostMajor = 0xFFF,
  kMostMinor = 0xFFFFF
};

const std::vector<std::string> kAttributeKeys = {"owner", "group", "mode", "time", "skip"};

struct TypeWord {
  const char* word;
  std::uint16_t type;
};
const TypeWord kTypeWords[] = {
    {"char", ArchiveHeader::kCharDevice},     {"block", ArchiveHeader::kBlockDevice},
    {"fifo", ArchiveHeader::kFifo},           {"link", ArchiveHeader::kSymlink},
    {"directory", ArchiveHeader::kDirectory}, {"file", ArchiveHeader::kRegular}};

std::vector<std::string> withAttributes(std::vector<std::string> keys) {
  keys.insert(keys.end(), kAttributeKeys.begin(), kAttributeKeys.end());
  return keys;
}

// What action throws becomes an error of the node's line.
template <typename Action>
auto atLine(const TomlSource& source, const toml::node& node, const Action& action) {
  try {
    return action();
  } catch (const Failure& failure) {
    source.fail(node, failure.what());
  }
}

std::string routerPath(const TableReader& table, const std::string& key) {
  return atLine(table.source(), *table.find(key), [&] { return cleanPath(table.text(key)); });
}

// A path of the machine; an empty one would stand for the description's own folder.
std::string hostPath(const TableReader& table, const toml::node& node, const std::string& key) {
  const std::string path = table.textOf(node, key);
  if (path.empty()) table.source().fail(node, key + " is empty; name a path or leave it out");
  if (path.find('\0') != std::string::npos)
    table.source().fail(node, key + " has a NUL in it, which no path has");
  return table.source().resolve(path);
}

const toml::table& tableOf(const TomlSource& source, const toml::node& node, const char* shape) {
  if (!node.is_table()) source.fail(node, std::string("expected ") + shape);
  return *node.as_table();
}

FileSource readSource(const TableReader& parent, const toml::node& node) {
  const TomlSource& source = parent.source();
  FileSource found;
  found.where = source.where(node);
  if (node.is_string()) {
    found.path = hostPath(parent, node, "files");
    return found;
  }
  const TableReader table(
      source, tableOf(source, node, "a path, { folder = \"...\" } or { tar = \"...\" }"),
      {"folder", "tar", "into", "keep-owners", "keep-modes", "keep-times"});
  const toml::node* const folder = table.find("folder");
  const toml::node* const tar = table.find("tar");
  if (!folder == !tar) source.fail(node, "needs either folder = \"...\" or tar = \"...\"");
  found.kind = folder ? FileSource::Kind::kFolder : FileSource::Kind::kTar;
  found.path = folder ? hostPath(table, *folder, "folder") : hostPath(table, *tar, "tar");
  if (table.find("into")) found.into = routerPath(table, "into");
  found.keepOwners = table.flag("keep-owners");
  found.keepModes = table.flag("keep-modes");
  found.keepTimes = table.flag("keep-times");
  return found;
}

void readSources(const TableReader& table, Manifest& manifest) {
  const toml::node* const node = table.find("files");
  if (!node) return;
  manifest.hasFiles = true;
  if (!node->is_array()) {
    manifest.sources.push_back(readSource(table, *node));
    return;
  }
  for (const toml::node& element : *node->as_array())
    manifest.sources.push_back(readSource(table, element));
}

// Without the "/" that people put in front of a path or behind a folder.
std::string withoutOuterSlashes(std::string pattern) {
  while (!pattern.empty() && pattern.front() == '/') pattern.erase(0, 1);
  while (!pattern.empty() && pattern.back() == '/') pattern.pop_back();
  return pattern;
}

void readExclude(const TableReader& table, Manifest& manifest) {
  for (const toml::node& node : table.array("exclude")) {
    const std::string given = table.textOf(node, "exclude");
    const std::string pattern = withoutOuterSlashes(given);
    if (pattern.empty()) table.source().fail(node, "an empty pattern matches nothing");
    const bool isName = given.find('/') == std::string::npos;
    manifest.exclude.push_back(
        atLine(table.source(), node, [&] { return Glob(isName ? "**/" + pattern : pattern); }));
  }
}

std::optional<std::uint16_t> readMode(const TableReader& table) {
  const toml::node* const node = table.find("mode");
  if (!node) return std::nullopt;
  // A decimal 755 would be 01363.
  if (!node->is_string())
    table.source().fail(*node, "mode must be octal digits in quotation marks, such as \"0755\"");
  const std::string text = node->as_string()->get();
  const bool isOctal = text.find_first_not_of("01234567") == std::string::npos;
  enum : std::size_t { kMostDigits = 5 };
  if (text.empty() || !isOctal || text.size() > kMostDigits ||
      std::stoul(text, nullptr, 8) > kMostPermissions)
    table.source().fail(*node, quoted(text) +
                                   " is no mode; write octal digits up to 7777, such as "
                                   "\"0755\"");
  return static_cast<std::uint16_t>(std::stoul(text, nullptr, 8));
}

template <typename Number>
std::optional<Number> readNumber(const TableReader& table, const char* key, std::int64_t most) {
  if (!table.find(key)) return std::nullopt;
  return static_cast<Number>(table.number(key, 0, most, 0));
}

FileAttributes readAttributes(const TableReader& table) {
  FileAttributes set;
  set.owner = readNumber<std::uint16_t>(table, "owner", kMostOwner);
  set.group = readNumber<std::uint16_t>(table, "group", kMostOwner);
  set.mode = readMode(table);
  set.time = readNumber<std::uint32_t>(table, "time", kMostTime);
  if (table.find("skip")) set.skip = table.flag("skip");
  return set;
}

FileRule readRule(const TomlSource& source, const toml::node& node) {
  const TableReader table(source, tableOf(source, node, "[[rule]]"), withAttributes({"match"}));
  const toml::node& match = table.need("match", "\"bin/*\"");
  const std::string pattern = withoutOuterSlashes(table.text("match"));
  if (pattern.empty()) source.fail(match, "an empty pattern matches nothing");
  FileRule rule = {atLine(source, match, [&] { return Glob(pattern); }), readAttributes(table),
                   source.where(node)};
  if (rule.set.empty())
    source.fail(node, "the rule changes nothing; add owner, group, mode, time or skip");
  return rule;
}

// Refuses the keys that only entries of other types have.
void checkKeys(const TableReader& table, std::uint16_t type) {
  const bool isDevice = type == ArchiveHeader::kCharDevice || type == ArchiveHeader::kBlockDevice;
  const bool isLink = type == ArchiveHeader::kSymlink;
  const bool isFile = type == ArchiveHeader::kRegular;
  const struct {
    const char* key;
    bool allowed;
    const char* owners;
  } keys[] = {{"major", isDevice, "a device has"}, {"minor", isDevice, "a device has"},
              {"target", isLink, "a link has"},    {"text", isFile, "a file has"},
              {"from", isFile, "a file has"},      {"mode", !isLink, "what is no link has"}};
  for (const auto& [key, allowed, owners] : keys)
    if (!allowed && table.find(key))
      table.source().fail(*table.find(key),
                          "only " + std::string(owners) + " " + key + "; leave it out");
}

std::uint16_t readType(const TableReader& table) {
  const toml::node& node = table.need("type", "\"file\"");
  const std::string word = table.text("type");
  std::string known;
  for (const TypeWord& candidate : kTypeWords) {
    if (word == candidate.word) return candidate.type;
    known += std::string(known.empty() ? "" : ", ") + candidate.word;
  }
  table.source().fail(node, quoted(word) + " is no type; there are " + known);
}

std::uint32_t readDevice(const TableReader& table) {
  table.need("major", "1");
  table.need("minor", "3");
  const auto major = static_cast<unsigned>(table.number("major", 0, kMostMajor, 0));
  const auto minor = static_cast<unsigned>(table.number("minor", 0, kMostMinor, 0));
  return static_cast<std::uint32_t>(makedev(major, minor));
}

void readContents(const TableReader& table, FileEntry& entry) {
  const toml::node* const from = table.find("from");
  if (!from == !table.find("text"))
    table.source().fail(table.table(), "a file needs either text = \"...\" or from = \"...\"");
  if (from) {
    entry.from = hostPath(table, *from, "from");
  } else {
    entry.text = table.text("text");
  }
}

FileEntry readEntry(const TomlSource& source, const toml::node& node) {
  const TableReader table(
      source, tableOf(source, node, "[[entry]]"),
      withAttributes({"path", "type", "major", "minor", "target", "text", "from"}));
  FileEntry entry;
  entry.where = source.where(node);
  const toml::node& path = table.need("path", "\"etc/hello.conf\"");
  table.text("path");
  entry.path = routerPath(table, "path");
  if (entry.path.empty())
    source.fail(path, "the router's root is there already; name a path in it");
  entry.type = readType(table);
  checkKeys(table, entry.type);
  if (entry.type == ArchiveHeader::kRegular) readContents(table, entry);
  if (entry.type == ArchiveHeader::kCharDevice || entry.type == ArchiveHeader::kBlockDevice)
    entry.device = readDevice(table);
  if (entry.type == ArchiveHeader::kSymlink) {
    const toml::node& target = table.need("target", "\"busybox\"");
    entry.target = table.text("target");
    if (entry.target.empty() || entry.target.find('\0') != std::string::npos)
      source.fail(target, "no link has an empty target, or one with a NUL");
  }
  entry.set = readAttributes(table);
  return entry;
}

void readEntries(const TableReader& table, Manifest& manifest) {
  const toml::array& array = table.array("entry");
  std::vector<std::pair<std::string, const toml::node*>> paths;
  for (const toml::node& node : array) {
    manifest.entries.push_back(readEntry(table.source(), node));
    paths.emplace_back(manifest.entries.back().path, &node);
  }
  std::stable_sort(paths.begin(), paths.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  const auto twice = std::adjacent_find(
      paths.begin(), paths.end(), [](const auto& a, const auto& b) { return a.first == b.first; });
  if (twice != paths.end())
    table.source().fail(*std::next(twice)->second,
                        "a second entry for " + quoted(twice->first) + "; the first is at line " +
                            std::to_string(twice->second->source().begin.line));
  if (!manifest.entries.empty()) manifest.hasFiles = true;
}

}  // namespace

void readFileKeys(const TableReader& table, Manifest& manifest) {
  manifest.compression = static_cast<int>(table.number("compression", 0, 9, -1));
  readSources(table, manifest);
  readExclude(table, manifest);
  for (const toml::node& node : table.array("rule"))
    manifest.rules.push_back(readRule(table.source(), node));
  readEntries(table, manifest);
}
