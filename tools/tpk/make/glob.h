// Patterns for paths: "*" is anything but "/", "**" is anything, "?" is one character but "/",
// "[a-z]" and "[!a-z]" are one of a set, and "\" takes the meaning from the next character.
// "**/" in front of a component is any number of folders, none included.
#pragma once

#include <bitset>
#include <optional>
#include <string>
#include <vector>

class Glob {
 public:
  // Throws Failure: what is wrong with the pattern.
  explicit Glob(const std::string& pattern);

  // Whether the pattern is the whole path. Takes time proportional to the lengths of both, whatever
  // the pattern.
  bool matches(const std::string& path) const;
  // The only text that matches, when there is only one.
  const std::optional<std::string>& literal() const { return literal_; }

 private:
  enum class Kind { kSet, kStar, kStarStar, kFolders };
  struct Token {
    Kind kind;
    std::bitset<256> set;  // of kSet: what one character may be
  };
  using States = std::vector<char>;

  void addCharacter(char c);
  std::size_t addSet(const std::string& pattern, std::size_t at);
  std::size_t addStars(const std::string& pattern, std::size_t at);
  void follow(States& states, bool componentBegins) const;

  std::vector<Token> tokens_;
  std::optional<std::string> literal_ = "";
};
