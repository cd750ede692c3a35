#include "tests/plan/casefile.h"

#include "model/version.h"

#include <cctype>
#include <cstdlib>
#include <set>
#include <sstream>

namespace {

constexpr char kTitleMark[] = "== ";

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

void checkTitles(const std::string& name, const std::vector<CaseText>& cases) {
  if (cases.empty()) throw CaseError(name + ": there is no case");
  std::set<std::string> titles;
  for (const CaseText& one : cases) {
    if (!titles.insert(one.title).second) {
      throw CaseError(one.place + ": there is a case of this title already");
    }
  }
}

// The digits in front, taken off the text.
std::string takeDigits(std::string& text) {
  std::size_t count = 0;
  while (count < text.size() && std::isdigit(static_cast<unsigned char>(text[count]))) ++count;
  const std::string digits = text.substr(0, count);
  text.erase(0, count);
  return digits;
}

bool takeField(std::string& text, std::uint8_t& field) {
  const std::string digits = takeDigits(text);
  if (digits.empty() || digits.size() > 3 || std::stoul(digits) > 255) return false;
  field = static_cast<std::uint8_t>(std::stoul(digits));
  return true;
}

bool takeText(std::string& text, const std::string& expected) {
  if (text.rfind(expected, 0) != 0) return false;
  text.erase(0, expected.size());
  return true;
}

bool takeKind(std::string& text, ReleaseKind& kind) {
  static const std::pair<const char*, ReleaseKind> kinds[] = {
      {"alpha", kKindAlpha}, {"beta", kKindBeta}, {"rc", kKindCandidate}};
  for (const auto& known : kinds) {
    kind = known.second;
    if (takeText(text, known.first)) return true;
  }
  return false;
}

bool parseVersion(std::string text, std::uint32_t& version) {
  std::uint8_t major = 0;
  std::uint8_t minor = 0;
  std::uint8_t build = 0;
  ReleaseKind kind = kKindFinal;
  if (!takeField(text, major) || !takeText(text, ".") || !takeField(text, minor)) return false;
  if (takeText(text, ".")) {
    if (!takeField(text, build)) return false;
  } else if (!text.empty()) {
    if (!takeKind(text, kind) || (!text.empty() && !takeField(text, build))) return false;
  }
  version = packVersion(major, minor, kind, build);
  return text.empty();
}

bool parsePacked(const std::string& text, std::uint32_t& version) {
  enum : std::size_t { kLength = 2 + 8 };
  if (text.size() != kLength || text.rfind("0x", 0) != 0) return false;
  char* end = nullptr;
  version = static_cast<std::uint32_t>(std::strtoul(text.c_str(), &end, 16));
  return *end == '\0';
}

}  // namespace

std::vector<CaseText> cutIntoCases(const std::string& name, const std::string& text) {
  std::vector<CaseText> cases;
  std::istringstream lines(text);
  std::string line;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    line = trimmed(line);
    if (line.empty() || line[0] == '#') continue;
    const std::string place = name + ":" + std::to_string(number);
    if (line.rfind(kTitleMark, 0) == 0) {
      cases.push_back({trimmed(line.substr(sizeof kTitleMark - 1)), place, {}});
    } else if (cases.empty()) {
      throw CaseError(place + ": this stands in front of the first case");
    } else {
      cases.back().lines.push_back({place, line});
    }
  }
  checkTitles(name, cases);
  return cases;
}

Words::Words(const CaseLine& line) : place_(line.place) {
  std::istringstream text(line.text);
  for (std::string word; text >> word;) words_.push_back(word);
}

bool Words::took(const std::string& word) {
  if (!nextIs(word)) return false;
  ++next_;
  return true;
}

std::string Words::take(const std::string& what) {
  if (!left()) fail(what + " is missing");
  return words_[next_++];
}

std::uint32_t Words::takeNumber(const std::string& what) {
  const std::string word = take(what);
  std::string rest = word;
  const bool negative = takeText(rest, "-");
  const std::string digits = takeDigits(rest);
  if (!rest.empty() || digits.empty() || digits.size() > 10) fail("\"" + word + "\" is no number");
  const long long number = std::stoll(digits);
  return static_cast<std::uint32_t>(negative ? -number : number);
}

std::uint32_t Words::takeVersion() {
  const std::string word = take("a version");
  std::uint32_t version = 0;
  if (word != "0" && !parsePacked(word, version) && !parseVersion(word, version)) {
    fail("\"" + word + "\" is no version");
  }
  return version;
}

void Words::end() const {
  if (left()) fail("\"" + words_[next_] + "\" is not understood");
}

void Words::fail(const std::string& message) const { throw CaseError(place_ + ": " + message); }
