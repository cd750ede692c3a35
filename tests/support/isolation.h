// Whether the machine lets a process move away from it as "tpk try" has the installer do: found out
// by doing the same, without the tool.
#pragma once

#include <string>

// Empty when it does; otherwise the step that it refuses and the system's reason, in the tool's
// words: "mounts of its own: Operation not permitted". Calls becomeRoot() first.
const std::string& obstacleToIsolation();

// The note in which the tool says it, where root gets by without; empty when there is no obstacle.
std::string noteOfIsolation();

// Skip the running test, saying why; only in the body of a test.
#define NEEDS_ISOLATION()                                                  \
  if (!obstacleToIsolation().empty())                                      \
  GTEST_SKIP() << "a process cannot be moved away from the machine here (" \
               << obstacleToIsolation() << ")"
