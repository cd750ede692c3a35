#include "main/options.h"

#include "model/packagefile.h"
#include "repo/console.h"
#include "repo/repo.h"

#include <cstring>

namespace {

bool is(const char* argument, const char* option) { return std::strcmp(argument, option) == 0; }

// Old scripts still pass these.
bool isIgnored(const char* argument) {
  return is(argument, "-b") || is(argument, "--force") || is(argument, "--noupgrade") ||
         is(argument, "-i");
}

// An option that takes the next argument as its value.
bool takeValue(const char* argument, const char* value, Options& options) {
  if (is(argument, "-r")) {
    options.root = value;
  } else if (is(argument, "-x")) {
    options.extra = value;
  } else {
    return is(argument, "--month");
  }
  return true;
}

bool takeSwitch(const char* argument, Options& options) {
  if (is(argument, "-q")) {
    options.quiet = true;
  } else if (is(argument, "-down")) {
    options.installFlags |= kAllowDowngrade;
  } else if (is(argument, "--reinstall")) {
    print("\nResuming upgrade...\n");
    options.installFlags |= kReinstall;
  } else if (is(argument, "--show")) {
    options.show = true;
  } else {
    return isIgnored(argument);
  }
  return true;
}

bool takePackagePath(const char* argument, Options& options) {
  if (!options.packagePath.empty() || !hasPostfix(argument, kPackageSuffix)) return false;
  options.packagePath = argument;
  return true;
}

}  // namespace

bool parseOptions(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const char* const argument = argv[i];
    if (is(argument, "--filegc")) {
      options.fileGc = true;
      options.gcDirectories = std::vector<char*>(argv + i + 1, argv + argc);
      return true;
    }
    if (is(argument, "--cleanup")) {
      options.cleanUp = true;
      return true;
    }
    if (is(argument, "-")) {
      options.imageFromStdin = true;
      return true;
    }
    if (i + 1 < argc && takeValue(argument, argv[i + 1], options)) {
      ++i;
    } else if (!takeSwitch(argument, options) && !takePackagePath(argument, options)) {
      return false;
    }
  }
  return true;
}

void printUsage() { print("usage: installer [-q] [--filegc] [-r <root>] [-]\n"); }
