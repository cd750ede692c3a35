#include "tools/tpk/host/output.h"

#include "tools/tpk/host/failure.h"

void finishOutput(std::ostream& out) {
  if (!out.flush()) throw EnvironmentFailure("standard output: cannot be written");
}
