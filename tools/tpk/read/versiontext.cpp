#include "tools/tpk/read/versiontext.h"

#include "model/version.h"

namespace {

struct KindWord {
  const char* word;
  ReleaseKind kind;
};

const KindWord kKindWords[] = {
    {".", kKindFinal}, {"alpha", kKindAlpha}, {"beta", kKindBeta}, {"rc", kKindCandidate}};

class VersionText {
 public:
  explicit VersionText(const std::string& text) : text_(text) {}

  bool atEnd() const { return place_ == text_.size(); }

  bool take(const std::string& word) {
    if (text_.compare(place_, word.size(), word) != 0) return false;
    place_ += word.size();
    return true;
  }

  bool takeNumber(std::uint8_t& number) {
    unsigned value = 0;
    const std::size_t begin = place_;
    for (; !atEnd() && text_[place_] >= '0' && text_[place_] <= '9' && value <= 255; ++place_)
      value = value * 10 + static_cast<unsigned>(text_[place_] - '0');
    number = static_cast<std::uint8_t>(value);
    return place_ > begin && value <= 255;
  }

 private:
  const std::string& text_;
  std::size_t place_ = 0;
};

}  // namespace

bool parseVersion(const std::string& text, std::uint32_t& version) {
  VersionText rest(text);
  std::uint8_t major = 0;
  std::uint8_t minor = 0;
  std::uint8_t build = 0;
  ReleaseKind kind = kKindFinal;
  if (!rest.takeNumber(major) || !rest.take(".") || !rest.takeNumber(minor)) return false;

  if (!rest.atEnd()) {
    const KindWord* found = nullptr;
    for (const KindWord& candidate : kKindWords)
      if (!found && rest.take(candidate.word)) found = &candidate;
    if (!found) return false;
    kind = found->kind;
    const bool numberMayMiss = kind != kKindFinal;
    if (!(numberMayMiss && rest.atEnd()) && !rest.takeNumber(build)) return false;
  }
  if (!rest.atEnd()) return false;
  version = packVersion(major, minor, kind, build);
  return true;
}
