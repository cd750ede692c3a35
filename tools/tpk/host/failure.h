// What ends a command of tpk: the message says which file is concerned and what is wrong with it.
#pragma once

#include <stdexcept>

// The package, its description or the product data are at fault.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The machine is: a file that cannot be opened, a full disk.
class EnvironmentFailure : public Failure {
 public:
  using Failure::Failure;
};

// The command line is, in a way that only the command itself can see.
class UsageFailure : public Failure {
 public:
  using Failure::Failure;
};
