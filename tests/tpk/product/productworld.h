// A product data folder with a fresh key, for tests that spoil it.
#pragma once

#include "tests/support/tree.h"
#include "tools/tpk/product/newproduct.h"
#include "tools/tpk/product/productfolder.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

class ProductWorld : public ::testing::Test {
 protected:
  ProductWorld() : folder_(temp_.path() + "/product") {}

  void writeFresh() {
    data_ = makeProductData(key_);
    writeProductFolder(folder_, *data_, key_);
  }
  // The folder once more, with what was changed in data_ and key_.
  void writeAgain() {
    removeTree(folder_);
    writeProductFolder(folder_, *data_, key_);
  }

  std::string file(const std::string& name) const { return folder_ + "/" + name; }

  TempFolder temp_;
  std::string folder_;
  SigningKey key_;
  std::unique_ptr<ProductData> data_;
};
