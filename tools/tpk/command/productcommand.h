// tpk product new, check and add-digest: folders of product data.
#pragma once

#include "tools/tpk/command/command.h"

#include <string>
#include <vector>

struct ProductOptions {
  std::string folder;
  std::vector<std::string> files;  // package files, for add-digest
};

// Each throws Failure.
ExitStatus newProductCommand(const ProductOptions& options);
ExitStatus checkProductCommand(const ProductOptions& options);
ExitStatus addDigestCommand(const ProductOptions& options);
