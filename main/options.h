// The command line.
#pragma once

#include <string>
#include <vector>

struct Options {
  bool quiet = false;
  bool show = false;
  bool fileGc = false;
  bool cleanUp = false;
  bool imageFromStdin = false;
  std::string root;
  std::string extra;  // kept, never read
  std::string packagePath;
  unsigned installFlags = 0;         // InstallFlags
  std::vector<char*> gcDirectories;  // arguments behind "--filegc"; they stay the process's
};

// False when the arguments are not understood: the caller prints the usage line. "--reinstall" says
// so at once.
[[nodiscard]] bool parseOptions(int argc, char** argv, Options& options);

void printUsage();
