// One run of the installer over the drop directory of a scratch root.
#pragma once

#include <string>
#include <vector>

class HeldSignals;
class Sandbox;

// The program of the same build or installation as this one. Throws EnvironmentFailure when there
// is none.
std::string findInstaller();

// Throws UsageFailure for options with which it would do something else than install what was
// dropped.
void checkInstallerOptions(const std::vector<std::string>& options);

struct InstallerRun {
  std::vector<std::string> messages;  // the lines of its console
  // It found itself on a router without packages, where it waits for ever, and was ended.
  bool routerLost = false;
};

// Throws EnvironmentFailure when it does not run to its end, or a signal asks for this command's.
InstallerRun runInstaller(const Sandbox& sandbox, const std::string& program,
                          const std::vector<std::string>& options, bool scripts,
                          const HeldSignals& signals);
