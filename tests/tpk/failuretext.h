// The message with which something fails, for comparisons; "no failure" when it does not.
#pragma once

#include "tools/tpk/host/failure.h"

#include <string>

template <typename Action>
std::string failureOf(const Action& action) {
  try {
    action();
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "no failure";
}
