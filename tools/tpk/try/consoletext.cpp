#include "tools/tpk/try/consoletext.h"

#include <algorithm>

namespace {

constexpr char kHideCursor[] = "\033[?25l";
constexpr char kShowCursor[] = "\033[?25h";

// A terminal's last line: a carriage return goes back to its begin, and what follows overwrites.
class LastLine {
 public:
  void put(char c) {
    if (column_ == text_.size()) {
      text_ += c;
    } else {
      text_[column_] = c;
    }
    ++column_;
  }
  void carriageReturn() { column_ = 0; }
  std::string take() {
    std::string line;
    line.swap(text_);
    column_ = 0;
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
  }

 private:
  std::string text_;
  std::size_t column_ = 0;
};

std::size_t cursorSequenceAt(const std::string& output, std::size_t at) {
  for (const std::string sequence : {kHideCursor, kShowCursor}) {
    if (output.compare(at, sequence.size(), sequence) == 0) return sequence.size();
  }
  return 0;
}

}  // namespace

std::vector<std::string> consoleLines(const std::string& output) {
  std::vector<std::string> lines;
  LastLine last;
  const auto finish = [&lines, &last] {
    const std::string line = last.take();
    if (!line.empty()) lines.push_back(line);
  };
  for (std::size_t at = 0; at < output.size(); ++at) {
    if (const std::size_t length = cursorSequenceAt(output, at)) {
      at += length - 1;
    } else if (output[at] == '\r') {
      last.carriageReturn();
    } else if (output[at] == '\n') {
      finish();
    } else {
      last.put(output[at]);
    }
  }
  finish();
  return lines;
}
