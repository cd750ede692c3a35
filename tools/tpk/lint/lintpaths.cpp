// Checks of where a package's files go, and of what entries do to each other.
#include "tools/tpk/lint/lintchecks.h"

#include <algorithm>
#include <climits>
#include <functional>
#include <unordered_map>
#include <unordered_set>

namespace {

constexpr char kDatabase[] = "var/pdb";
constexpr char kDisabledFolder[] = "x";
enum : std::size_t { kMaxComponent = 255 };
// What the path of the flash takes from the length that the system allows.
constexpr char kFlashRoot[] = "/flash/";

// Whether the path is the folder or lies in it.
bool isIn(const std::string& path, const std::string& folder) {
  return path.compare(0, folder.size(), folder) == 0 &&
         (path.size() == folder.size() || path[folder.size()] == '/');
}

// Calls with every folder on the way to the path, the outermost first. A path that is too long for
// any system has none: its folders could be more than there is memory for.
void eachFolder(const std::string& path, const std::function<void(const std::string&)>& call) {
  if (path.size() >= PATH_MAX) return;
  for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1))
    call(path.substr(0, end));
}

bool hasComponent(const std::string& name, const std::string& wanted) {
  return ('/' + name + '/').find('/' + wanted + '/') != std::string::npos;
}

// Names.

void parentComponent(const LintPackage& package, LintSink& sink) {
  for (const LintEntry& entry : package.entries)
    if (hasComponent(entry.archived.name, ".."))
      sink.about(package, entry, "has \"..\" in its path");
}

void unlistableName(const LintPackage& package, LintSink& sink) {
  for (const LintEntry& entry : package.entries)
    if (entry.archived.name.find_first_of(std::string("\n\0", 2)) != std::string::npos)
      sink.about(package, entry, "has a line end or a NUL in its name");
}

void oddPath(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    const std::string& name = entry.archived.name;
    const std::string plain = !name.empty() && name[0] == '/' ? name.substr(1) : name;
    if (!entry.path.empty() && plain != entry.path &&
        !(entry.isDirectory() && plain == entry.path + "/"))
      sink.about(package, entry, "is another way to write \"" + entry.path + '"');
  });
}

void rootEntry(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    if (entry.path.empty() && !entry.isDirectory())
      sink.about(package, entry, "would replace the root itself");
  });
}

void longPath(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    const std::string& path = entry.path;
    bool tooLong = sizeof kFlashRoot + path.size() > PATH_MAX;
    for (std::size_t begin = 0; begin < path.size() && !tooLong;) {
      const std::size_t end = std::min(path.find('/', begin), path.size());
      tooLong = end - begin > kMaxComponent;
      begin = end + 1;
    }
    if (tooLong) sink.about(package, entry, "its name is too long");
  });
}

// What entries do to each other.

void lateDirectory(const LintPackage& package, LintSink& sink) {
  std::unordered_set<std::string> listed;
  std::unordered_set<std::string> made;
  eachPlaced(package, [&](const LintEntry& entry) {
    if (entry.isDirectory() && listed.insert(entry.path).second && made.count(entry.path) != 0)
      sink.about(package, entry, "comes after what is in it");
    eachFolder(entry.path, [&made](const std::string& folder) { made.insert(folder); });
  });
}

void missingDirectory(const LintPackage& package, LintSink& sink) {
  std::unordered_set<std::string> known;
  for (const LintEntry& entry : package.entries)
    if (entry.isDirectory() || entry.type() == ArchiveHeader::kSymlink) known.insert(entry.path);
  eachPlaced(package, [&](const LintEntry& entry) {
    eachFolder(entry.path, [&](const std::string& folder) {
      if (known.insert(folder).second)
        sink.about(package, entry, "the archive has no entry for \"" + folder + '"');
    });
  });
}

// The links on the way to each entry that stand before it in the archive.
template <typename Check>
void eachThroughLink(const LintPackage& package, Check check) {
  std::unordered_map<std::string, const LintEntry*> links;
  eachPlaced(package, [&](const LintEntry& entry) {
    const LintEntry* through = nullptr;
    if (!links.empty())
      eachFolder(entry.path, [&](const std::string& folder) {
        const auto found = links.find(folder);
        if (!through && found != links.end()) through = found->second;
      });
    if (through) check(entry, *through);
    if (entry.type() == ArchiveHeader::kSymlink) links[entry.path] = &entry;
  });
}

bool leavesFlash(const LintEntry& link) {
  const std::string& target = link.archived.target;
  if (!target.empty() && target[0] == '/') return target.compare(0, 7, kFlashRoot) != 0;
  auto depth = std::count(link.path.begin(), link.path.end(), '/');
  for (std::size_t begin = 0; begin < target.size() && depth >= 0;) {
    const std::size_t end = std::min(target.find('/', begin), target.size());
    const std::string component = target.substr(begin, end - begin);
    if (component == "..")
      --depth;
    else if (!component.empty() && component != ".")
      ++depth;
    begin = end + 1;
  }
  return depth < 0;
}

std::string throughText(const LintEntry& link) {
  return "goes through the link \"" + link.path + "\" to \"" + link.archived.target + '"';
}

void throughLink(const LintPackage& package, LintSink& sink) {
  eachThroughLink(package, [&](const LintEntry& entry, const LintEntry& link) {
    if (!leavesFlash(link)) sink.about(package, entry, throughText(link));
  });
}

void throughLinkOffFlash(const LintPackage& package, LintSink& sink) {
  eachThroughLink(package, [&](const LintEntry& entry, const LintEntry& link) {
    if (leavesFlash(link)) sink.about(package, entry, throughText(link));
  });
}

void repeatedPath(const LintPackage& package, LintSink& sink) {
  std::unordered_map<std::string, bool> directories;
  eachPlaced(package, [&](const LintEntry& entry) {
    const auto added = directories.emplace(entry.path, entry.isDirectory());
    if (!added.second && !(added.first->second && entry.isDirectory()))
      sink.about(package, entry, "is there more than once");
  });
}

void belowFile(const LintPackage& package, LintSink& sink) {
  std::unordered_set<std::string> files;
  eachPlaced(package, [&](const LintEntry& entry) {
    std::string below;
    if (!files.empty())
      eachFolder(entry.path, [&](const std::string& folder) {
        if (files.count(folder) != 0) below = folder;
      });
    if (!below.empty()) sink.about(package, entry, "lies in \"" + below + "\", which is a file");
    if (!entry.isDirectory() && entry.type() != ArchiveHeader::kSymlink) files.insert(entry.path);
  });
}

void replacesDirectory(const LintPackage& package, LintSink& sink) {
  std::unordered_set<std::string> directories;
  eachPlaced(package, [&](const LintEntry& entry) {
    eachFolder(entry.path, [&](const std::string& folder) { directories.insert(folder); });
    if (entry.isDirectory())
      directories.insert(entry.path);
    else if (directories.count(entry.path) != 0)
      sink.about(package, entry, "is a directory before");
  });
}

// Places of the installer's own.

void foreignRecord(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    if (isIn(entry.path, kDatabase) && entry.path != kDatabase &&
        !isIn(entry.path, std::string(kDatabase) + "/" + package.info().name))
      sink.about(package, entry, "lies in the database, in another package's record");
  });
}

void ownRecord(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    if (isIn(entry.path, std::string(kDatabase) + "/" + package.info().name))
      sink.about(package, entry, "lies in the package's own record");
  });
}

void disabledFolder(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    if (isIn(entry.path, kDisabledFolder))
      sink.about(package, entry, "lies where disabled packages have their files");
  });
}

const std::vector<PackageCheck> kPathChecks = {
    {{"parent-component", Severity::kError,
      "Entries with \"..\" in their paths end the "
      "installation.",
      "Name the entry by its real path."},
     parentComponent},
    {{"unlistable-name", Severity::kError,
      "Names with a line end or a NUL cannot stand in the list of a package's files; they end the "
      "installation.",
      "Rename the file."},
     unlistableName},
    {{"odd-path", Severity::kWarning,
      "Files are listed under the names that the archive has for them: one with \".\" or empty "
      "components is not found as the owner of its file.",
      "Name the entry by its plain path."},
     oddPath},
    {{"root-entry", Severity::kError, "The root is a directory and cannot be anything else.",
      "Give the entry a name."},
     rootEntry},
    {{"long-path", Severity::kError,
      "A component of more than 255 bytes, or a path of more than 4095, cannot be created.",
      "Use shorter names."},
     longPath},
    {{"late-directory", Severity::kWarning,
      "A directory that comes after what is in it is there already, made with mode 0770 for root: "
      "what the entry says of owner, mode and time is lost.",
      "Put directories before what is in them."},
     lateDirectory},
    {{"missing-directory", Severity::kNote,
      "Directories without an entry are made with mode 0770 for root when they are not there yet.",
      "Add an entry for the directory."},
     missingDirectory},
    {{"through-link", Severity::kWarning,
      "When the package goes its link goes first: the file behind it is no longer found, and "
      "stays.",
      "Name the entry by the path to which the link leads."},
     throughLink},
    {{"through-link-off-flash", Severity::kError,
      "The installer sees the flash as a folder: an absolute link, or one with too many \"..\", "
      "leads out of it, and what goes through it ends the installation.",
      "Name the entry by the path to which the link leads."},
     throughLinkOffFlash},
    {{"repeated-path", Severity::kWarning,
      "An entry replaces an earlier one of the same path, with a warning on the console.",
      "Leave one of them out."},
     repeatedPath},
    {{"below-file", Severity::kError,
      "Nothing can be created below something that is no directory.", "Leave one of the two out."},
     belowFile},
    {{"replaces-directory", Severity::kError,
      "A directory cannot be replaced: what is to come in its place cannot be created.",
      "Leave one of the two out."},
     replacesDirectory},
    {{"foreign-record", Severity::kError,
      "Nothing may be placed in another package's record: that ends the installation.",
      "Leave the entry out."},
     foreignRecord},
    {{"own-record", Severity::kWarning,
      "The installer writes the record itself, and takes half a one for a package that has to go.",
      "Leave the entry out."},
     ownRecord},
    {{"disabled-folder", Severity::kWarning,
      "Below \"x\" disabled packages have their files: two packages get into each other's way.",
      "Use another folder."},
     disabledFolder},
};

}  // namespace

const std::vector<PackageCheck>& pathChecks() { return kPathChecks; }
