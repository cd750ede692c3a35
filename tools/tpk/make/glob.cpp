#include "tools/tpk/make/glob.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/text.h"

namespace {

unsigned char byteOf(char c) { return static_cast<unsigned char>(c); }

[[noreturn]] void failAt(const std::string& pattern, const char* what) {
  throw Failure("the pattern " + quoted(pattern) + " " + what);
}

}  // namespace

Glob::Glob(const std::string& pattern) {
  for (std::size_t at = 0; at < pattern.size();) {
    const char c = pattern[at];
    if (c == '*') {
      at = addStars(pattern, at);
    } else if (c == '[') {
      at = addSet(pattern, at + 1);
    } else if (c == '?') {
      std::bitset<256> any;
      any.set().reset(byteOf('/'));
      tokens_.push_back({Kind::kSet, any});
      literal_.reset();
      ++at;
    } else {
      if (c == '\\' && ++at == pattern.size()) failAt(pattern, "ends in \"\\\"; write \"\\\\\"");
      addCharacter(pattern[at]);
      ++at;
    }
  }
}

void Glob::addCharacter(char c) {
  Token token = {Kind::kSet, {}};
  token.set.set(byteOf(c));
  tokens_.push_back(token);
  if (literal_) *literal_ += c;
}

// at: behind the "[". A "]" that comes first is one of the set.
std::size_t Glob::addSet(const std::string& pattern, std::size_t at) {
  Token token = {Kind::kSet, {}};
  const bool negated = at < pattern.size() && (pattern[at] == '!' || pattern[at] == '^');
  if (negated) ++at;
  const std::size_t begin = at;
  for (;; ++at) {
    if (at >= pattern.size()) failAt(pattern, "has a \"[\" without a \"]\"; write \"\\[\" for it");
    if (pattern[at] == ']' && at > begin) break;
    unsigned low = byteOf(pattern[at]);
    unsigned high = low;
    if (at + 2 < pattern.size() && pattern[at + 1] == '-' && pattern[at + 2] != ']') {
      high = byteOf(pattern[at + 2]);
      at += 2;
    }
    for (; low <= high; ++low) token.set.set(low);
  }
  if (negated) token.set.flip();
  token.set.reset(byteOf('/'));
  tokens_.push_back(token);
  literal_.reset();
  return at + 1;
}

std::size_t Glob::addStars(const std::string& pattern, std::size_t at) {
  const bool componentBegins = at == 0 || pattern[at - 1] == '/';
  std::size_t end = at;
  while (end < pattern.size() && pattern[end] == '*') ++end;
  literal_.reset();
  if (end - at == 1) {
    tokens_.push_back({Kind::kStar, {}});
    return end;
  }
  const bool isFolders = componentBegins && end < pattern.size() && pattern[end] == '/';
  tokens_.push_back({isFolders ? Kind::kFolders : Kind::kStarStar, {}});
  return isFolders ? end + 1 : end;
}

// Adds the places of the pattern that are reached without another character.
void Glob::follow(States& states, bool componentBegins) const {
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    if (!states[i] || tokens_[i].kind == Kind::kSet) continue;
    if (tokens_[i].kind != Kind::kFolders || componentBegins) states[i + 1] = 1;
  }
}

// All places of the pattern at which the path read so far can stand, at once: trying them one after
// the other takes forever for patterns with many stars.
bool Glob::matches(const std::string& path) const {
  if (literal_) return path == *literal_;
  States states(tokens_.size() + 1, 0);
  states[0] = 1;
  follow(states, true);
  for (const char c : path) {
    States next(states.size(), 0);
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
      if (!states[i]) continue;
      const Token& token = tokens_[i];
      if (token.kind == Kind::kSet) {
        if (token.set.test(byteOf(c))) next[i + 1] = 1;
      } else if (token.kind != Kind::kStar || c != '/') {
        next[i] = 1;
      }
    }
    follow(next, c == '/');
    states.swap(next);
  }
  return states.back() != 0;
}
