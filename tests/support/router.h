// The smallest router, in a temp folder of its own, and the real program running on it.
#pragma once

#include "model/packagedep.h"
#include "tests/support/process.h"
#include "tests/support/tree.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

// An installed package as the database has it.
struct Record {
  std::string name;
  std::uint32_t version = 0;
  std::uint32_t buildTime = 0;
  std::vector<PackageDep> deps = {};
  std::vector<PackageDep> provides = {};
  std::vector<PackageDep> conflicts = {};
  std::string bundle = {};              // that brought it
  std::vector<std::string> files = {};  // logical paths; each file holds its own path
  bool isBundle = false;
  std::string disabled = {};  // what the file "disabled" says; there is none when empty
  std::string enabled = {};
};

// The lines of a database file with dependencies.
std::string dependencyLines(const std::vector<PackageDep>& list, bool withWeight = false);

// The programs of this build, each for one set of product data; the first is what packages are
// signed for. The environment variable INSTALLER_PROGRAM names another program for the first.
enum class Product { kDefault, kVectorsA, kVectorsB };

class Router {
 public:
  using Arguments = std::vector<std::string>;

  explicit Router(Product product = Product::kDefault);
  ~Router();
  Router(const Router&) = delete;
  Router& operator=(const Router&) = delete;

  // Where a path of the router is on the host.
  std::string path(const std::string& inside) const { return root_.path() + inside; }
  const std::string& root() const { return root_.path(); }
  const std::string& program() const { return program_; }

  // The world before the run. Paths are the router's.
  Router& put(const std::string& file, const std::string& contents, mode_t mode = 0644);
  Router& folder(const std::string& path);
  // A package file in the drop directory.
  Router& drop(const std::string& name, const std::string& bytes);
  Router& installed(const Record& record);
  // A request of the rest of the system.
  Router& schedule(const std::string& name, const std::string& word);
  // In KiB. At first no memory is to spare, so that no package file is moved to RAM.
  Router& memory(unsigned unused, unsigned buffers, unsigned cached);
  // A shell below /flash, and what package scripts need beside it.
  Router& withShell();
  // 0 at first: modes of new files show as the program asked for them.
  Router& umask(mode_t mask);
  Router& timeLimit(Process::Milliseconds limit);
  // For the program's environment, "NAME=value".
  Router& environment(const std::string& setting);
  // The kernel's own /proc in place of the folder with the memory report. Needs canMount().
  Router& withProc();
  // The folder is a mount of its own while the program runs, which links cannot cross. Needs
  // canMount().
  Router& withOwnFileSystem(const std::string& folder);

  // Runs the program with "-r <root>" in front of the arguments. A report of a sanitizer fails the
  // test.
  ProcessResult run(const Arguments& arguments = {}, const std::string& input = {});
  // The same with the root changed already, and no "-r".
  ProcessResult runInside(const Arguments& arguments = {}, const std::string& input = {});
  // Runs the program with a tool (strace, valgrind) in front: its path and its arguments.
  ProcessResult runWith(const Arguments& tool, const Arguments& arguments = {},
                        const std::string& input = {});
  std::unique_ptr<Process> start(const Arguments& arguments = {}, const std::string& input = {});

  // What is there now. What the harness needs for itself is not in the listing.
  std::string tree(unsigned fields = kTreeTypes | kTreeMode | kTreeOwner | kTreeSize) const;
  // The part of the tree below a folder, and the folder.
  std::string treeOf(const std::string& folder,
                     unsigned fields = kTreeTypes | kTreeMode | kTreeOwner | kTreeSize) const;
  bool has(const std::string& file) const { return exists(path(file)); }
  std::string read(const std::string& file) const { return readFile(path(file)); }
  // Names in a folder, sorted.
  std::vector<std::string> names(const std::string& folder) const;
  // The same in the order in which the program meets them.
  std::vector<std::string> scanOrder(const std::string& folder) const;
  // The run log; empty when there is none.
  std::string log() const;
  // Every file of the database, one below the other, each under a line "== ppp/version".
  std::string database() const;
  // One file of a package's record.
  std::string record(const std::string& package, const std::string& file) const;

 private:
  Command command(const Arguments& words, const std::string& input) const;
  bool mountAll(const std::string& counters) const;
  ProcessResult finish(const Command& command);

  TempFolder root_;
  bool isRamDisk_;
  std::string program_;
  mode_t mask_ = 0;
  Process::Milliseconds limit_;
  std::vector<std::string> environment_;
  bool proc_ = false;
  std::vector<std::string> ownFileSystems_;
  std::set<std::string> ownFolders_;
};
