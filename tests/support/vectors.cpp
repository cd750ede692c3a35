#include "tests/support/vectors.h"

#include "tests/support/hex.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/product/productfolder.h"

#include <sstream>

#include <gtest/gtest.h>

namespace {

const std::string kFolder = TEST_DATA_DIR "/vectors/";

std::vector<std::string> linesOf(const std::string& file) {
  std::istringstream text(readHostFile(kFolder + file));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

// The cells of "first | second | third", without the space around them.
std::vector<std::string> cellsOf(const std::string& line) {
  std::istringstream text(line);
  std::vector<std::string> cells;
  for (std::string cell; std::getline(text, cell, '|');) {
    const auto begin = cell.find_first_not_of(' ');
    const auto end = cell.find_last_not_of(' ');
    cells.push_back(begin == std::string::npos ? "" : cell.substr(begin, end - begin + 1));
  }
  return cells;
}

std::string bytesOf(std::string cell) {
  if (cell == "-") return "";
  const auto space = cell.find(' ');
  if (space != std::string::npos) cell.erase(space, 1);
  return unhex(cell);
}

}  // namespace

std::vector<VectorValue> vectorValues(const std::string& name) {
  std::vector<VectorValue> values;
  for (const std::string& line : linesOf("values.txt")) {
    const auto cells = cellsOf(line);
    if (cells.size() == 3 && cells[0] == name)
      values.push_back({bytesOf(cells[1]), bytesOf(cells[2])});
  }
  EXPECT_FALSE(values.empty()) << name;
  return values;
}

std::string vectorPackage(const std::string& name) { return readHostFile(kFolder + name); }

std::vector<VectorVerdict> vectorVerdicts() {
  std::vector<VectorVerdict> verdicts;
  for (const std::string& line : linesOf("README.md")) {
    const auto cells = cellsOf(line);  // the first one is empty: the line begins with "|"
    if (cells.size() < 5 || cells[1].rfind(".tpk`") == std::string::npos) continue;
    verdicts.push_back({cells[1].substr(1, cells[1].size() - 2), cells[2], cells[3] == "good"});
  }
  return verdicts;
}

ProductInUse::ProductInUse(const std::string& set)
    : data_(readProductData(kFolder + "product-" + set)) {
  useProductData(data_.get());
}

ProductInUse::ProductInUse(const ProductData& data) : data_(std::make_unique<ProductData>(data)) {
  useProductData(data_.get());
}

ProductInUse::~ProductInUse() { useProductData(&kBuiltInProductData); }
