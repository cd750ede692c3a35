#include "tools/tpk/command/productchoice.h"

#include "stream/productdata.h"
#include "tools/tpk/product/productfolder.h"

#include <CLI/CLI.hpp>

void addProductOption(CLI::App& command, std::string& folder) {
  command.add_option("--product", folder, "product data folder (the one built in)");
}

ProductChoice::ProductChoice(const std::string& folder) {
  if (folder.empty()) return;
  data_ = readProductData(folder);
  useProductData(data_.get());
}

ProductChoice::~ProductChoice() { useProductData(&kBuiltInProductData); }
