#include "tools/tpk/make/packagefiles.h"

#include "stream/packformat.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/text.h"
#include "tools/tpk/make/sources.h"

#include <algorithm>
#include <limits>
#include <unordered_map>

#include <sys/stat.h>

namespace {

const char kDatabase[] = "var/pdb";

void addSource(Collection& collection, const FileSource& source) {
  if (!hostFileExists(source.path))
    throw Failure(source.where + ": " + source.path + " does not exist");
  const bool isFolder = isHostDirectory(source.path);
  if (source.kind == FileSource::Kind::kFolder && !isFolder)
    throw Failure(source.where + ": " + source.path + " is no folder; for a tar write tar = ...");
  if (source.kind == FileSource::Kind::kTar && isFolder)
    throw Failure(source.where + ": " + source.path + " is a folder; write folder = ...");
  isFolder ? addFolder(collection, source) : addTar(collection, source);
}

// A text of the description goes into the spool, a file stays where it is.
FileData entryData(const FileEntry& entry, Spool& spool, Inputs& inputs, bool& executable) {
  FileData data;
  if (!entry.from) {
    data.offset = spool.size();
    data.size = entry.text.size();
    spool.append(entry.text.data(), entry.text.size());
    return data;
  }
  struct stat status;
  if (::stat(entry.from->c_str(), &status) != 0) failWithErrno(*entry.from, "cannot be read");
  if (!S_ISREG(status.st_mode))
    throw Failure(entry.where + ": " + *entry.from + " is no regular file");
  inputs.note(*entry.from, status);
  executable = (status.st_mode & S_IXUSR) != 0;
  data.path = *entry.from;
  data.size = static_cast<std::uint64_t>(status.st_size);
  return data;
}

void addEntry(const FileEntry& entry, Spool& spool, Inputs& inputs, FileTree& tree) {
  FileNode node;
  bool executable = false;
  if (entry.type == ArchiveHeader::kRegular)
    node.data = entryData(entry, spool, inputs, executable);
  node.mode = static_cast<std::uint16_t>(entry.type | defaultPermissions(entry.type, executable));
  node.device = entry.device;
  node.target = entry.target;
  node.origin = entry.where;
  tree.put(entry.path, std::move(node));
}

void apply(const FileAttributes& set, FileNode& node) {
  if (set.owner) node.user = *set.owner;
  if (set.group) node.group = *set.group;
  // The mode of a link is nowhere used, and always the same.
  if (set.mode && node.type() != ArchiveHeader::kSymlink)
    node.mode = static_cast<std::uint16_t>(node.type() | *set.mode);
  if (set.time) node.time = *set.time;
  if (set.skip) node.skip = *set.skip;
}

// The rules in their order for each path. Most rules of a large package name one path, and are not
// to be tried on every other one.
class Rules {
 public:
  explicit Rules(const std::vector<FileRule>& rules) : rules_(rules), used_(rules.size(), 0) {
    for (std::size_t i = 0; i < rules.size(); ++i) {
      if (rules[i].match.literal()) {
        exact_[*rules[i].match.literal()].push_back(i);
      } else {
        patterns_.push_back(i);
      }
    }
  }

  void applyTo(const std::string& path, FileNode& node) {
    std::vector<std::size_t> matching;
    const auto exact = exact_.find(path);
    if (exact != exact_.end()) matching = exact->second;
    for (const std::size_t i : patterns_)
      if (rules_[i].match.matches(path)) matching.push_back(i);
    std::sort(matching.begin(), matching.end());
    for (const std::size_t i : matching) {
      apply(rules_[i].set, node);
      used_[i] = 1;
    }
  }

  // A rule without any effect is a slip of the pen.
  void checkUse() const {
    for (std::size_t i = 0; i < rules_.size(); ++i)
      if (!used_[i])
        throw Failure(rules_[i].where +
                      ": the rule matches nothing in the package; mend its match "
                      "or remove it");
  }

 private:
  const std::vector<FileRule>& rules_;
  std::vector<char> used_;
  std::unordered_map<std::string, std::vector<std::size_t>> exact_;
  std::vector<std::size_t> patterns_;
};

void settleTimes(std::uint32_t buildTime, FileTree& tree) {
  for (auto& [path, node] : tree.nodes())
    node.time = std::min<std::int64_t>(node.time.value_or(buildTime), buildTime);
}

// The router's record of a package is the package's own business, those of others are not.
bool isForeignRecord(const std::string& path, const std::string& package) {
  const std::string folder = std::string(kDatabase) + "/";
  if (path.compare(0, folder.size(), folder) != 0) return false;
  const std::string entry = path.substr(folder.size());
  return entry.substr(0, entry.find('/')) != package;
}

void checkPath(const std::string& path, const FileNode& node, const std::string& package) {
  if (path.size() > std::numeric_limits<std::uint16_t>::max())
    throw Failure(node.origin + ": its path has more than 65535 bytes");
  if (node.data.size > std::numeric_limits<std::uint32_t>::max())
    throw Failure(node.origin + ": is larger than 4 GiB");
  const bool isFolder = node.type() == ArchiveHeader::kDirectory;
  if (isForeignRecord(path, package) || (path == kDatabase && !isFolder))
    throw Failure(node.origin + ": " + quoted(path) +
                  " is in the router's database, which takes nothing from a package but " +
                  kDatabase + "/" + package + "; leave it out");
}

}  // namespace

FileTree collectFiles(const Manifest& manifest, Spool& spool, Inputs& inputs,
                      std::vector<std::string>& warnings) {
  FileTree tree;
  Collection collection = {tree, spool, inputs, manifest.exclude, warnings};
  for (const std::string& path : manifest.inputs) inputs.note(path);
  for (const FileSource& source : manifest.sources) addSource(collection, source);
  for (const FileEntry& entry : manifest.entries) addEntry(entry, spool, inputs, tree);
  tree.addMissingParents();
  return tree;
}

void settleFiles(const Manifest& manifest, std::uint32_t buildTime, FileTree& tree) {
  settleTimes(buildTime, tree);
  Rules rules(manifest.rules);
  for (auto& [path, node] : tree.nodes()) rules.applyTo(path, node);
  rules.checkUse();
  for (const FileEntry& entry : manifest.entries) apply(entry.set, *tree.find(entry.path));
  for (const auto& [path, node] : tree.nodes()) checkPath(path, node, manifest.name);
}
