// The vectors of tests/data/vectors, and product data other than the built-in ones.
#pragma once

#include "stream/productdata.h"

#include <memory>
#include <string>
#include <vector>

struct VectorValue {
  std::string input;  // bytes; two numbers follow each other
  std::string output;
};

// The values of that name, such as "H[a]"; the test fails when there is none.
std::vector<VectorValue> vectorValues(const std::string& name);

// The bytes of one of the packages.
std::string vectorPackage(const std::string& name);

struct VectorVerdict {
  std::string package;
  std::string set;  // of product data: "a" or "b"
  bool good;
};

// The table of all packages.
std::vector<VectorVerdict> vectorVerdicts();

// A set of product data in the place of the built-in one, as long as the object lives.
class ProductInUse {
 public:
  // "a" or "b" of the vectors.
  explicit ProductInUse(const std::string& set);
  explicit ProductInUse(const ProductData& data);
  ~ProductInUse();
  ProductInUse(const ProductInUse&) = delete;
  ProductInUse& operator=(const ProductInUse&) = delete;

  ProductData& data() { return *data_; }

 private:
  std::unique_ptr<ProductData> data_;
};
