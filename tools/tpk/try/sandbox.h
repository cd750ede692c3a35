// Where the installer runs on a scratch root: nothing that it or a package script does reaches the
// machine.
#pragma once

#include "tools/tpk/host/childprocess.h"

#include <csignal>
#include <string>
#include <vector>

class ScratchRoot;

class Sandbox {
 public:
  enum class Isolation {
    // Namespaces of its own for users, processes, mounts and the network. The process sees the
    // scratch root and, without being able to write, the machine's libraries.
    kNamespaces,
    // Only what the installer itself does with -r. No process can be started in it.
    kChangedRoot,
  };

  // Finds out by trying what the machine permits. Throws EnvironmentFailure when that is nothing.
  explicit Sandbox(const ScratchRoot& root);

  Isolation isolation() const { return isolation_; }
  // Why not better.
  const std::string& obstacle() const { return obstacle_; }

  // Whether package scripts can run: the router's shell is there and made for this machine.
  bool canRunScripts() const;

  struct Start {
    std::string program;                 // on the host
    std::vector<std::string> arguments;  // behind "-r" and the root
    bool scripts = false;                // only with canRunScripts()
    int output = -1;                     // descriptors to write to
    int errors = -1;
    sigset_t signals = {};  // to be blocked
  };
  // The process, which dies with this one. Throws EnvironmentFailure.
  ChildProcess start(const Start& what) const;

 private:
  const ScratchRoot& root_;
  Isolation isolation_ = Isolation::kNamespaces;
  std::string obstacle_;
};
