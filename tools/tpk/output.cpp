#include "tools/tpk/output.h"

#include "tools/tpk/failure.h"

void finishOutput(std::ostream& out) {
  if (!out.flush()) throw EnvironmentFailure("standard output: cannot be written");
}
