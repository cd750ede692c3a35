// The product that packages are looked at for.
#pragma once

#include <memory>
#include <string>

struct ProductData;

namespace CLI {
class App;
}

// --product; folder outlives the command.
void addProductOption(CLI::App& command, std::string& folder);

// While it lives, the product data of the folder stand in place of those built in; none do when it
// has no name. Throws Failure.
class ProductChoice {
 public:
  explicit ProductChoice(const std::string& folder);
  ~ProductChoice();
  ProductChoice(const ProductChoice&) = delete;
  ProductChoice& operator=(const ProductChoice&) = delete;

 private:
  std::unique_ptr<ProductData> data_;
};
