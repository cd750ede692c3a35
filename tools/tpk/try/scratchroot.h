// A router to try things on: a folder with the router's folders, which goes with the object.
#pragma once

#include <cstdint>
#include <set>
#include <string>

class ScratchRoot {
 public:
  // In the system's temp folder, or at keep, which must not exist, and then it stays. Throws
  // EnvironmentFailure.
  explicit ScratchRoot(const std::string& keep = {});
  ~ScratchRoot();
  ScratchRoot(const ScratchRoot&) = delete;
  ScratchRoot& operator=(const ScratchRoot&) = delete;

  // The router's "/" on the host, and a path below it.
  const std::string& path() const { return root_; }
  std::string path(const std::string& inside) const { return root_ + inside; }
  // An empty folder beside the router's, for who needs a place to mount something.
  std::string mountPoint() const { return top_ + "/host"; }

  // Paths are the router's and begin with "/"; folders on the way are made. What stood at a file's
  // place goes. Throw Failure for a path that cannot be, EnvironmentFailure for the machine's part.
  void folder(const std::string& inside) const;
  void put(const std::string& inside, const std::string& contents, unsigned mode = 0644) const;
  // A file of that size without contents, where there is nothing yet. False when there is no place
  // for it: something else is in the way, or the path is too long.
  bool placeholder(const std::string& inside, std::uint64_t size) const;
  // The same when nobody knows the size.
  bool unsizedPlaceholder(const std::string& inside);
  bool isUnsized(const std::string& inside) const { return unsized_.count(inside) != 0; }

  // Removes it now. False when something stayed.
  bool remove();

 private:
  void makeTop(const std::string& keep);

  std::string top_;
  std::string root_;
  bool keep_;
  std::set<std::string> unsized_;
};
