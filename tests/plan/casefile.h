// Files of planning cases, cut into cases and words (cases/README.md has the language).
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

// What the author of a case has to put right.
class CaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct CaseLine {
  std::string place;  // file and line number
  std::string text;   // without white space at both ends
};

struct CaseText {
  std::string title;
  std::string place;
  std::vector<CaseLine> lines;  // neither empty ones nor comments
};

// name stands for the file in messages. Throws CaseError.
std::vector<CaseText> cutIntoCases(const std::string& name, const std::string& text);

// The words of a line, taken from the first to the last.
class Words {
 public:
  explicit Words(const CaseLine& line);

  bool left() const { return next_ < words_.size(); }
  bool nextIs(const std::string& word) const { return left() && words_[next_] == word; }
  // Takes the next word if it is this one.
  bool took(const std::string& word);
  // what is for the message when there is no further word.
  std::string take(const std::string& what);
  std::uint32_t takeNumber(const std::string& what);
  // Such as 3.22, 3.22.1, 3.20rc2, 5.0beta; 0 for none; 0x03166600.
  std::uint32_t takeVersion();
  void end() const;
  [[noreturn]] void fail(const std::string& message) const;

 private:
  std::string place_;
  std::vector<std::string> words_;
  std::size_t next_ = 0;
};
