// Files and folders of the host for tests: temp folders, whole files, and the listing of a folder
// as text, so that a test compares a file tree as it compares any other text.
#pragma once

#include <set>
#include <string>

#include <sys/types.h>

// What a line of a listing says of an entry beside its path and its type.
enum TreeField : unsigned {
  kTreeMode = 1,       // permission bits, octal; of links nothing
  kTreeOwner = 2,      // user:group
  kTreeSize = 4,       // size=<bytes>, of regular files
  kTreeTime = 8,       // time=<seconds> of the last change of the contents; of links nothing
  kTreeTarget = 16,    // -> <target>, of links
  kTreeDevice = 32,    // device=<major>:<minor>, of device nodes
  kTreeContents = 64,  // contents=<hash>, of regular files
  kTreeLinks = 128,    // links=<count>, of regular files
  kTreeTypes = kTreeTarget | kTreeDevice,  // what the type alone has to say
};

// One line for each entry below the folder, sorted by path:
//   /bin/foo file 0644 0:0 size=5 time=1000
// The types are file, dir, link, char, block, fifo, socket. Paths begin with "/" and are seen from
// the folder; the folder itself is not listed. What is named in without is left out with everything
// below it.
std::string listTree(const std::string& folder, unsigned fields,
                     const std::set<std::string>& without = {});

// The lines of the entry at one path of the folder, such as "/bin", and of what is below it.
std::string listTreeAt(const std::string& folder, const std::string& path, unsigned fields,
                       const std::set<std::string>& without = {});

// Whether there is anything at the path; links are not followed.
bool exists(const std::string& path);
// The test fails when the file cannot be read.
std::string readFile(const std::string& path);
// Writes the file anew, and makes the folders that lead to it.
void writeFile(const std::string& path, const std::string& contents, mode_t mode = 0644);
void makeFolders(const std::string& path);
// Removes what is at the path with everything below it; nothing there is no failure.
void removeTree(const std::string& path);

// A folder below the system's temp folder that goes with the object.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};
