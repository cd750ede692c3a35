// How commands of tpk end.
#pragma once

enum ExitStatus {
  kGood = 0,
  kBad = 1,          // a package, its description or product data are at fault
  kUsage = 2,        // the command line is
  kEnvironment = 3,  // the machine is: a file that cannot be opened, a full disk
};
