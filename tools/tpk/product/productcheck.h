// Whether a product data folder is complete and fit for use.
#pragma once

#include <string>
#include <vector>

struct ProductReport {
  std::vector<std::string> findings;  // a line for each file that is as it should be
  std::vector<std::string> problems;  // and for what is not
  bool hasSigningKey = false;
};

// Beside what readProductData() refuses: keys that are on no point of the curve or that anybody can
// sign for, a root selector whose square is not -1, a signing key of another public key. Throws
// EnvironmentFailure when there is no such folder.
ProductReport checkProduct(const std::string& folder);
