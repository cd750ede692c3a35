#include "tools/tpk/try/backup.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/heldsignals.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/try/backupreader.h"
#include "tools/tpk/try/scratchroot.h"

#include <algorithm>

namespace {

// Far more than any list of files has; the program reads records whole.
enum : std::size_t { kLongestRecordFile = 4u << 20, kLongestShell = 64u << 20 };

constexpr char kImage[] = "image";

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

bool isDropped(const std::string& inside) {
  return startsWith(inside, "/flash/rw/pckg/") || startsWith(inside, "/flash/var/pckg/");
}

// What package scripts cannot do without: the only files whose contents are of use.
bool isForScripts(const std::string& inside) {
  return inside == kScriptShell || inside == kScriptProfile;
}

// Where the parts of a router are in a backup; each ends in "/" or is empty for its top.
struct BackupLayout {
  std::string database;
  std::string flash;
  bool hasFlash = false;
  bool hasRoot = false;  // the rest of the router too
};

class LayoutSearch {
 public:
  void see(const BackupEntry& entry) {
    const std::string path = entry.path + "/";
    root_ = root_ || startsWith(path, "flash/var/pdb/");
    flash_ = flash_ || startsWith(path, "var/pdb/");
    const std::size_t slash = entry.path.find('/');
    if (slash == std::string::npos || entry.path.find('/', slash + 1) != std::string::npos) return;
    const std::string file = entry.path.substr(slash + 1);
    database_ = database_ || file == "version" || file == "deps";
  }
  bool found() const { return root_ || flash_ || database_; }
  BackupLayout layout() const {
    if (root_) return {"flash/var/pdb/", "flash/", true, true};
    if (flash_) return {"var/pdb/", "", true, false};
    return {};
  }

 private:
  bool root_ = false;
  bool flash_ = false;
  bool database_ = false;
};

BackupLayout findLayout(const std::string& path, const HeldSignals& signals) {
  BackupReader reader(path);
  LayoutSearch search;
  for (BackupEntry entry; reader.next(entry);) {
    signals.check();
    search.see(entry);
  }
  if (!search.found()) {
    throw Failure(path +
                  ": holds no package database: neither flash/var/pdb nor var/pdb, nor packages' "
                  "folders with a file \"version\"");
  }
  return search.layout();
}

class Copy {
 public:
  Copy(const std::string& backup, const BackupLayout& layout, ScratchRoot& root)
      : backup_(backup), layout_(layout), root_(root), reader_(backup) {}

  void run(const HeldSignals& signals);

 private:
  void take(const BackupEntry& entry);
  void takeRecord(const BackupEntry& entry, const std::string& inside);
  void takeRequest(const BackupEntry& entry);
  void takeOther(const BackupEntry& entry, const std::string& inside);

  const std::string backup_;
  const BackupLayout layout_;
  ScratchRoot& root_;
  BackupReader reader_;
};

void Copy::run(const HeldSignals& signals) {
  for (BackupEntry entry; reader_.next(entry);) {
    signals.check();
    take(entry);
  }
}

void Copy::take(const BackupEntry& entry) {
  if (startsWith(entry.path, layout_.database)) {
    takeRecord(entry, entry.path.substr(layout_.database.size()));
  } else if (entry.path + "/" == layout_.database ||
             startsWith(layout_.database, entry.path + "/")) {
    if (entry.type != BackupEntry::Type::kFolder)
      throw Failure(backup_ + ": " + printable(entry.path) + ": is no folder");
  } else if (layout_.hasFlash && startsWith(entry.path, layout_.flash)) {
    takeOther(entry, "/flash/" + entry.path.substr(layout_.flash.size()));
  } else if (layout_.hasRoot) {
    takeRequest(entry);
  }
}

void Copy::takeRecord(const BackupEntry& entry, const std::string& inside) {
  const std::string place = "/flash/var/pdb/" + inside;
  const std::size_t slash = inside.find('/');
  const bool isRecordFile =
      slash != std::string::npos && inside.find('/', slash + 1) == std::string::npos;
  // The package file that was kept: nobody reads it here. It may well be a link to another file.
  const bool isImage = isRecordFile && inside.substr(slash + 1) == kImage;
  if (entry.type == BackupEntry::Type::kFolder) {
    root_.folder(place);
    return;
  }
  if (entry.type != BackupEntry::Type::kFile && !isImage) {
    throw Failure(backup_ + ": " + printable(entry.path) +
                  ": is neither file nor folder, which a database does not have");
  }
  if (isRecordFile && !isImage) {
    root_.put(place, reader_.contents(kLongestRecordFile));
  } else {
    root_.placeholder(place, entry.size);
  }
}

void Copy::takeRequest(const BackupEntry& entry) {
  if (entry.type != BackupEntry::Type::kFile) return;
  const std::string& path = entry.path;
  const bool isSchedule = startsWith(path, "ram/pdb/") &&
                          std::count(path.begin(), path.end(), '/') == 3 &&
                          path.substr(path.rfind('/')) == "/schedule";
  if (isSchedule || path == "rw/DOWNGRADE") {
    root_.put("/" + path, reader_.contents(kLongestRecordFile));
  }
}

void Copy::takeOther(const BackupEntry& entry, const std::string& inside) {
  if (entry.type != BackupEntry::Type::kFile || isDropped(inside)) return;
  if (isForScripts(inside)) {
    root_.put(inside, reader_.contents(kLongestShell), 0755);
  } else {
    root_.placeholder(inside, entry.size);
  }
}

}  // namespace

void layOutBackup(const std::string& path, ScratchRoot& root, const HeldSignals& signals) {
  const BackupLayout layout = findLayout(path, signals);
  Copy(path, layout, root).run(signals);
}
