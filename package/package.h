// One installed package: its description and its state in the database. The operations live in four
// files: record.cpp (the meta directory), install.cpp and extract.cpp, scripts.cpp, and state.cpp
// (enable, disable, uninstall).
#pragma once

#include "model/packageinfo.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

class icstream;
class ipackstream;

// Paths under which the router keeps packages. A package's logical path /bin/x is the file
// /flash/bin/x.
constexpr char kFlashRoot[] = "/flash";
constexpr char kDatabase[] = "/flash/var/pdb/";
constexpr char kScheduleDir[] = "/ram/pdb/";

enum ScheduledAction : std::uint32_t {
  kActionNone = 0,
  kActionUninstall = 1,
  kActionEnable = 2,
  kActionDisable = 3,
};

// The verb that messages use for an action; empty for none.
const char* actionVerb(std::uint32_t action);

class Package : public PackageInfo {
 public:
  std::set<std::string> files;  // logical paths of what the package placed, directories excepted;
                                // each begins with "/"
  PackageDep bundle;            // that brought the package; no name when it came alone
  bool disabled = false;
  bool userForced = false;  // the user asked for the enabled or disabled state
  std::uint32_t scheduledAction = kActionNone;

  Package() = default;
  ~Package() override;

  // Whether the package is on once the scheduled actions are done.
  bool staysOn() const {
    return scheduledAction == kActionEnable || (!disabled && scheduledAction == kActionNone);
  }

  // record.cpp

  // The meta directory, ending in "/"; relative puts "." in front.
  std::string getMetaDir(bool relative) const;
  // The path of a file in it.
  std::string getMetaFile(bool relative, const char* file) const;
  // The name by which messages of an installation speak of the package: its bundle's full name, or
  // its own.
  std::string getContainerName() const;
  // Fills the object from the meta directory of that name and from its schedule file, which it
  // deletes. A damaged record reads as a request to uninstall.
  void readFromRepo(const std::string& packageName);
  // The same from a directory anywhere, which ends in "/": the name stays, and so do requests.
  void readRecord(const std::string& meta);
  // Creates the meta directory and its parents.
  [[nodiscard]] bool makeMetaDir(bool relative) const;
  // Writes the record; reports what could not be created.
  [[nodiscard]] bool writeMeta(bool relative);
  // Prints the record to standard output.
  void dump() const;

  // install.cpp

  // Installs the package whose contents follow in the stream (behind the header parts, from which
  // the description was filled). Whatever goes wrong is reported and undone. The signature is
  // checked last, when all files are placed.
  [[nodiscard]] bool install(ipackstream& in, bool relative);
  // Writes a record without files.
  [[nodiscard]] bool installVoid();

  // Unpacks the archive that source inflates from the package stream's current part. force replaces
  // what stands in the way whoever owns it. Reports what failed. (extract.cpp)
  [[nodiscard]] bool extractFiles(icstream& source, ipackstream& in, bool force, bool relative);
  void showInstallProgress(ipackstream& in) const;
  // With errno as the reason; errno stays.
  void reportInstallError(const char* what) const;
  void reportBrokenPackage() const;

  // state.cpp

  // Change the state on disk and here and clear the scheduled action; nothing that fails is
  // reported, except a file in use that could not be kept.
  void enable();
  void disable();
  // Deletes the files and the meta directory.
  void uninstall();

 private:
  void readVersion(const std::string& path);
  void readLists(const std::string& meta);
  void readFileList(const std::string& path);
  void readBundleName(const std::string& path);
  void readState(const std::string& meta);
  void takeSchedule(const std::string& path);
  // Reports the file when writing it was not good; returns that.
  bool metaWritten(bool good, const char* file) const;
  bool writeMetaFile(const std::string& meta, const char* file, const std::string& text) const;
  bool writeMetaDeps(const std::string& meta, const char* file, const std::vector<PackageDep>& list,
                     bool withWeight) const;
  void writeDisabled(bool present) const;
  void writeEnabled(bool present) const;
  void writeMarker(const char* marker, bool present) const;
  bool writeFileList(bool relative) const;

  // Names of the scripts that were stored are appended.
  bool installParts(ipackstream& in, bool relative, std::vector<const char*>& stored);
  bool installScript(ipackstream& in, const char* scriptName, bool relative) const;
  void skipImage(ipackstream& in) const;
  void rollBack(bool hasRecord, bool relative, const std::vector<const char*>& scripts);

  bool writeScript(ipackstream& in, std::uint32_t size, const char* scriptName,
                   bool relative) const;
  bool runScript(const char* scriptName) const;

  void removeVersion() const;
  void removeFiles();
  void removeMetaDir() const;
};
