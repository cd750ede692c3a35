// The commands of tpk. Each adds its words to the command line; once these were given, action is
// what is to be done. To have a command more, add a file beside the others, a line here and one in
// commandline.cpp.
#pragma once

#include "tools/tpk/host/exitstatus.h"

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

// Prints what there is to say. Throws Failure.
using Action = std::function<ExitStatus()>;

void addBuild(CLI::App& app, Action& action);
void addDiff(CLI::App& app, Action& action);
void addDigest(CLI::App& app, Action& action);
void addDump(CLI::App& app, Action& action);
void addExtract(CLI::App& app, Action& action);
void addGraph(CLI::App& app, Action& action);
void addInfo(CLI::App& app, Action& action);
void addLint(CLI::App& app, Action& action);
void addList(CLI::App& app, Action& action);
void addProduct(CLI::App& app, Action& action);
void addSign(CLI::App& app, Action& action);
void addUnsign(CLI::App& app, Action& action);  // signcommand.cpp
void addVerify(CLI::App& app, Action& action);

// installerOptions are looked at when the action is done.
void addTry(CLI::App& app, Action& action, const std::vector<std::string>& installerOptions);
// What stands behind "--" is the installer's when it is to be tried; the number of words before.
int takeInstallerOptions(int argc, char** argv, std::vector<std::string>& options);
