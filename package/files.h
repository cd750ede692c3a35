// Directories, and where a path below a root really leads.
#pragma once

#include <string>

// Creates path's directories from the outermost inwards with mode 0770, without path itself when
// parentsOnly; those that exist are left alone. False at the first that cannot be made.
bool makeDirs(const std::string& path, bool parentsOnly);

// Whether one component of the path is "..".
bool hasParentComponent(const std::string& path);

// Follows paths below a root and notices those that leave it: a package, or a database that
// somebody wrote into, must not reach a file elsewhere by way of a symbolic link or of "..".
class PathGuard {
 public:
  explicit PathGuard(const char* root);

  // path begins with the root as given to the constructor; its last component is not followed.
  // False when the path leaves the root. Folders that do not exist yet stay below it.
  bool stays(const std::string& path);
  // Where the path of the last stays() leads, seen from the root: "/bin/foo", without links, "." or
  // empty components.
  const std::string& resolved() const { return resolved_; }
  // Whether the last path has the same parent folder as the one before it.
  bool sameFolder() const { return sameFolder_; }
  // To be called when a link was made or deleted below the root: folders are followed anew.
  void forget() { known_ = false; }

 private:
  bool follow(const std::string& folder);
  bool step(const std::string& component);
  bool below(const std::string& real) const;

  std::string root_;      // as given
  std::string realRoot_;  // without links
  bool known_ = false;    // folder_ was followed, to real_ when inside_
  bool inside_ = false;
  bool sameFolder_ = false;
  std::string folder_;
  std::string real_;
  std::string resolved_;
};
