// Two programs read product data, tpk and the build: what one takes the other takes, and no more.
#include "tests/support/hex.h"
#include "tests/support/process.h"
#include "tests/tpk/failuretext.h"
#include "tests/tpk/product/productworld.h"

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Change = std::function<std::string(const std::string&)>;

struct Case {
  const char* name;
  const char* file;
  Change change;  // of the file's text
  bool good;
};

// The digits of a file without comments, in groups of so many.
std::string grouped(const std::string& text, std::size_t size, const std::string& separator) {
  std::string digits;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    for (const char c : line.substr(0, line.find('#')))
      if (c != ' ') digits += c;
  std::string result;
  for (std::size_t i = 0; i < digits.size(); i += size)
    result += digits.substr(i, size) + separator;
  return result;
}

Change groups(std::size_t size, const std::string& separator = " ") {
  return [=](const std::string& text) { return grouped(text, size, separator); };
}
Change behind(const std::string& what) {
  return [=](const std::string& text) { return text + what; };
}
Change before(const std::string& what) {
  return [=](const std::string& text) { return what + text; };
}
Change lastDigit(const std::string& with) {
  return [=](const std::string& text) {
    std::string changed = text;
    return changed.replace(changed.find_last_not_of('\n'), 1, with);
  };
}
Change withoutLastLine() {
  return [](const std::string& text) { return text.substr(0, text.rfind('\n', text.size() - 2)); };
}

const std::string kNul(1, '\0');

const Case kCases[] = {
    {"as it was written", "public-key", behind(""), true},
    {"bytes apart", "public-key", groups(2), true},
    {"bytes apart, of the selector", "root-selector", groups(2, "\t"), true},
    {"bytes in lines", "root-selector", groups(8, "\r\n"), true},
    {"bytes in uneven groups", "public-key", groups(14), true},
    {"half bytes", "public-key", groups(1), false},
    {"groups of half bytes", "public-key", groups(3), false},
    {"a byte too many", "public-key", behind("00"), false},
    {"a byte too few", "public-key", lastDigit(" "), false},
    {"words in one line", "hash-state", groups(8), true},
    {"words together", "hash-state", groups(16), false},
    {"words in bytes", "hash-state", groups(2), false},
    {"a word too many", "hash-state", behind("00000000"), false},
    {"a word too few", "hash-constants", withoutLastLine(), false},
    {"digests in one line", "known-digests", groups(40), true},
    {"digests together", "known-digests", groups(80), false},
    {"digests in halves", "known-digests", groups(20), false},
    {"a digest too many", "known-digests", behind(std::string(40, '0')), false},
    {"a digest too few", "known-digests", withoutLastLine(), false},
    {"comment behind", "hash-state", behind("# and \"so\" [on]; \\ $ {X} @Y@"), true},
    {"comment directly behind", "known-digests", lastDigit("0#\xC3\xA4\xFF"), true},
    {"comment before", "hash-constants", before("## 0 zz\n#\n \t\r\n"), true},
    {"no line end", "hash-state", lastDigit("0"), true},
    {"capital digit", "hash-state", lastDigit("A"), false},
    {"no digit", "hash-constants", lastDigit("g"), false},
    {"semicolon", "hash-state", behind(";"), false},
    {"bracket", "hash-state", behind("["), false},
    {"form feed", "hash-state", behind("\f"), false},
    {"vertical tab", "hash-state", behind("\v"), false},
    {"byte of no character", "hash-state", behind("\xFF"), false},
    {"not-breaking space", "hash-state", behind("\xC2\xA0"), false},
    {"byte-order mark", "hash-state", before("\xEF\xBB\xBF"), false},
    {"NUL behind", "hash-state", behind(kNul), false},
    {"NUL and a word behind", "hash-state", behind(kNul + "00000000"), false},
    {"NUL before", "public-key", before(kNul), false},
    {"NUL in a comment", "known-digests", before("# x" + kNul + "x\n"), false},
    {"NUL in a comment behind", "root-selector", behind("#" + kNul), false},
    {"carriage return alone ends no comment", "hash-state", behind("# x\r00000000"), true},
    {"nothing", "public-key", [](const std::string&) { return std::string(); }, false},
    {"signing key is not read", "signing-key", behind("?"), true},
};

class ProductVerdicts : public ProductWorld {
 protected:
  bool toolTakes() const {
    return failureOf([this] { readProductData(folder_); }) == "no failure";
  }

  bool buildTakes() const {
    writeFile(temp_.path() + "/read.cmake", "include(\"" PROJECT_FOLDER
                                            "/cmake/ProductData.cmake\")\nwrite_product_data(\"" +
                                                folder_ + "\" \"" + temp_.path() + "/out.cpp\")\n");
    Command command;
    command.words = {CMAKE_PROGRAM, "-P", temp_.path() + "/read.cmake"};
    const ProcessResult result = Process(command).wait(std::chrono::seconds(15));
    EXPECT_TRUE(result.exited(0) || result.exited(1)) << result;
    return result.exited(0);
  }
};

TEST_F(ProductVerdicts, AreTheSameOfTheToolAndOfTheBuild) {
  writeFresh();
  for (const Case& one : kCases) {
    const std::string original = readFile(file(one.file));
    writeFile(file(one.file), one.change(original));
    EXPECT_EQ(toolTakes(), one.good) << one.name;
    EXPECT_EQ(buildTakes(), one.good) << one.name;
    writeFile(file(one.file), original);
  }
}

TEST_F(ProductVerdicts, BothReadTheSameBytes) {
  writeFresh();
  writeFile(file("public-key"), grouped(readFile(file("public-key")), 6, "\t"));
  ASSERT_TRUE(buildTakes());
  std::string key;
  const auto data = readProductData(folder_);
  for (const unsigned char byte : data->publicKey)
    key += "0x" + hex(std::string(1, static_cast<char>(byte))) + ",";
  EXPECT_NE(readFile(temp_.path() + "/out.cpp").find("{" + key + "}"), std::string::npos);
}

}  // namespace
