// Checks of the entries of a package's archive, each by itself.
#include "tools/tpk/lint/lintchecks.h"

#include <cstdio>

namespace {

enum : std::uint16_t {
  kSetUser = 04000,
  kSetGroup = 02000,
  kSticky = 01000,
  kOwnerExecutes = 0100,
  kOthersWrite = 0002
};

void brokenArchive(const LintPackage& package, LintSink& sink) {
  if (!package.archiveFailure.empty()) sink.about(package, package.archiveFailure);
}

void endlessArchive(const LintPackage& package, LintSink& sink) {
  if (package.hasMoreEntries)
    sink.about(package, "only the first " + std::to_string(package.entries.size()) +
                            " entries were looked at");
}

void skippedEntry(const LintPackage& package, LintSink& sink) {
  for (const LintEntry& entry : package.entries)
    if (entry.archived.header.skip()) sink.about(package, entry, "has the skip flag");
}

bool isDevice(const LintEntry& entry) {
  return entry.type() == ArchiveHeader::kCharDevice || entry.type() == ArchiveHeader::kBlockDevice;
}

std::string modeText(const LintEntry& entry) {
  char text[16];
  std::snprintf(text, sizeof text, "mode %04o", entry.archived.header.mode() & 07777U);
  return text;
}

void unknownType(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    switch (entry.type()) {
      case ArchiveHeader::kFifo:
      case ArchiveHeader::kCharDevice:
      case ArchiveHeader::kDirectory:
      case ArchiveHeader::kBlockDevice:
      case ArchiveHeader::kRegular:
      case ArchiveHeader::kSymlink:
        return;
      default:
        sink.about(package, entry, "is of a type that does not exist");
    }
  });
}

void emptyTarget(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    if (entry.type() == ArchiveHeader::kSymlink && entry.archived.target.empty())
      sink.about(package, entry, "leads nowhere");
  });
}

void setId(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    if (entry.type() == ArchiveHeader::kRegular &&
        (entry.archived.header.mode() & (kSetUser | kSetGroup)) != 0)
      sink.about(package, entry, modeText(entry));
  });
}

void worldWritable(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    const std::uint16_t mode = entry.archived.header.mode();
    const bool shared = entry.isDirectory() && (mode & kSticky) != 0;
    if ((entry.isDirectory() || entry.type() == ArchiveHeader::kRegular) &&
        (mode & kOthersWrite) != 0 && !shared)
      sink.about(package, entry, modeText(entry));
  });
}

void deviceNode(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    if (isDevice(entry)) sink.about(package, entry, "is a device node");
  });
}

void futureTime(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    const std::uint32_t time = entry.archived.header.time();
    if (time > package.file->options->now && entry.type() != ArchiveHeader::kSymlink)
      sink.about(package, entry,
                 "changed at " + std::to_string(time) + ", now is " +
                     std::to_string(package.file->options->now));
  });
}

// The header of an ELF file as far as it says for which machine it is.
void foreignProgram(const LintPackage& package, LintSink& sink) {
  enum : std::size_t { kClass = 4, kByteOrder = 5, kMachine = 18, kEnd = kMachine + 2 };
  enum : unsigned char { k32Bit = 1, kLittleEndian = 1, kMips = 8 };
  static const std::string magic = "\177ELF";
  eachPlaced(package, [&](const LintEntry& entry) {
    const std::string& start = entry.start;
    if (start.size() < kEnd || start.compare(0, magic.size(), magic) != 0) return;
    if (start[kClass] != k32Bit || start[kByteOrder] != kLittleEndian || start[kMachine] != kMips ||
        start[kMachine + 1] != 0)
      sink.about(package, entry, "is a program for another machine");
  });
}

void notExecutable(const LintPackage& package, LintSink& sink) {
  static const std::string mark = "#!";
  eachPlaced(package, [&](const LintEntry& entry) {
    if (entry.type() == ArchiveHeader::kRegular &&
        (entry.archived.header.mode() & kOwnerExecutes) == 0 &&
        entry.start.compare(0, mark.size(), mark) == 0)
      sink.about(package, entry, modeText(entry));
  });
}

void litter(const LintPackage& package, LintSink& sink) {
  eachPlaced(package, [&](const LintEntry& entry) {
    const std::string name = entry.path.substr(entry.path.rfind('/') + 1);
    const auto endsIn = [&name](const std::string& end) {
      return name.size() > end.size() &&
             name.compare(name.size() - end.size(), end.size(), end) == 0;
    };
    if (name == ".git" || name == ".gitignore" || name == ".svn" || name == ".DS_Store" ||
        endsIn("~") || endsIn(".o") || endsIn(".swp") || endsIn(".orig") || endsIn(".rej"))
      sink.about(package, entry, "looks like something that was left lying about");
  });
}

const std::vector<PackageCheck> kArchiveChecks = {
    {{"broken-archive", Severity::kError, "The archive cannot be read to its end.",
      "Build the package anew."},
     brokenArchive},
    {{"endless-archive", Severity::kError,
      "The archive has more entries than a router has room for.", "Leave files out."},
     endlessArchive},
    {{"skipped-entry", Severity::kNote,
      "The installer passes over entries with the skip flag; they only make the package larger.",
      "Leave the entry out."},
     skippedEntry},
    {{"unknown-type", Severity::kError,
      "Entries are files, directories, symbolic links, devices or FIFOs; anything else ends the "
      "installation.",
      "Leave the entry out."},
     unknownType},
    {{"empty-target", Severity::kError, "A link without a target cannot be created.",
      "Give the link a target."},
     emptyTarget},
    {{"set-id", Severity::kWarning,
      "The program runs with its owner's or its group's rights, whoever starts it.",
      "Drop the setuid and setgid bits unless the program is written for them."},
     setId},
    {{"world-writable", Severity::kWarning, "Everybody on the router may change it.",
      "Take the right to write away from others."},
     worldWritable},
    {{"device-node", Severity::kNote,
      "Devices belong to the system: a wrong number opens the hardware to whoever may open the "
      "node.",
      "Make sure that number, mode and owner are meant."},
     deviceNode},
    {{"time-in-future", Severity::kWarning,
      "The file is newer than now: what compares times takes it for changed for ever.",
      "Set the clock, or the time of the entry, right."},
     futureTime},
    {{"foreign-program", Severity::kWarning,
      "A program or library that is not for 32-bit little-endian MIPS does not run on a router.",
      "Build it for the router."},
     foreignProgram},
    {{"not-executable", Severity::kNote,
      "A file that begins like a script cannot be started by its name.",
      "Make the file executable, unless other scripts only read it."},
     notExecutable},
    {{"litter", Severity::kNote,
      "Backups, object files and version control have no use on a router and take flash.",
      "Leave the entry out."},
     litter},
};

}  // namespace

const std::vector<PackageCheck>& archiveChecks() { return kArchiveChecks; }
