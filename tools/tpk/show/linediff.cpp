#include "tools/tpk/show/linediff.h"

#include <algorithm>
#include <cstdint>

namespace {

using Lines = std::vector<std::string>;

enum : std::size_t { kContext = 3, kMostCells = 4 * 1024 * 1024 };

// A line of one text or of both.
struct Edit {
  char sign;
  const std::string* line;
};

// The middle of the two texts: from first on, without what is the same at both ends.
class Comparison {
 public:
  Comparison(const Lines& before, const Lines& after) : before_(before), after_(after) {}

  std::vector<Edit> edits();

 private:
  void compareMiddle(std::size_t beforeEnd, std::size_t afterEnd);
  void walk(const std::vector<std::uint32_t>& common, std::size_t rows, std::size_t columns);
  void take(char sign, const std::string& line) { edits_.push_back({sign, &line}); }

  const Lines& before_;
  const Lines& after_;
  std::size_t first_ = 0;
  std::vector<Edit> edits_;
};

std::vector<Edit> Comparison::edits() {
  const std::size_t shorter = std::min(before_.size(), after_.size());
  while (first_ < shorter && before_[first_] == after_[first_]) take(' ', before_[first_++]);
  std::size_t same = 0;
  while (same < shorter - first_ &&
         before_[before_.size() - 1 - same] == after_[after_.size() - 1 - same])
    ++same;
  compareMiddle(before_.size() - same, after_.size() - same);
  for (std::size_t i = before_.size() - same; i < before_.size(); ++i) take(' ', before_[i]);
  return edits_;
}

void Comparison::compareMiddle(std::size_t beforeEnd, std::size_t afterEnd) {
  const std::size_t rows = beforeEnd - first_;
  const std::size_t columns = afterEnd - first_;
  if (rows > 0 && columns > kMostCells / rows) {
    for (std::size_t i = 0; i < rows; ++i) take('-', before_[first_ + i]);
    for (std::size_t i = 0; i < columns; ++i) take('+', after_[first_ + i]);
    return;
  }
  // The length of the longest common subsequence of what follows each pair of places.
  const std::size_t width = columns + 1;
  std::vector<std::uint32_t> common((rows + 1) * width, 0);
  for (std::size_t i = rows; i-- > 0;) {
    for (std::size_t j = columns; j-- > 0;) {
      const bool same = before_[first_ + i] == after_[first_ + j];
      common[i * width + j] =
          same ? common[(i + 1) * width + j + 1] + 1
               : std::max(common[(i + 1) * width + j], common[i * width + j + 1]);
    }
  }
  walk(common, rows, columns);
}

void Comparison::walk(const std::vector<std::uint32_t>& common, std::size_t rows,
                      std::size_t columns) {
  const std::size_t width = columns + 1;
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < rows || j < columns) {
    if (i < rows && j < columns && before_[first_ + i] == after_[first_ + j]) {
      take(' ', before_[first_ + i++]);
      ++j;
    } else if (j == columns ||
               (i < rows && common[(i + 1) * width + j] >= common[i * width + j + 1])) {
      take('-', before_[first_ + i++]);
    } else {
      take('+', after_[first_ + j++]);
    }
  }
}

std::string rangeText(std::size_t line, std::size_t count) {
  // As diff writes it: of nothing, the line before it.
  return std::to_string(count == 0 ? line : line + 1) + "," + std::to_string(count);
}

}  // namespace

std::vector<std::string> linesOf(const std::string& text) {
  Lines lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

std::vector<std::string> unifiedDiff(const Lines& before, const Lines& after) {
  const std::vector<Edit> edits = Comparison(before, after).edits();
  const auto isChange = [](const Edit& edit) { return edit.sign != ' '; };
  Lines out;
  std::size_t lineBefore = 0;
  std::size_t lineAfter = 0;
  for (auto at = edits.begin(); at != edits.end();) {
    const auto change = std::find_if(at, edits.end(), isChange);
    if (change == edits.end()) break;
    const auto begin = change - std::min<std::ptrdiff_t>(change - at, kContext);
    // A group goes on as long as the gaps between its changes are all context.
    auto end = change;
    for (auto next = change; next != edits.end() && next - end <= 2 * std::ptrdiff_t{kContext};
         next = std::find_if(end, edits.end(), isChange))
      end = next + 1;
    end += std::min<std::ptrdiff_t>(edits.end() - end, kContext);
    lineBefore += static_cast<std::size_t>(begin - at);
    lineAfter += static_cast<std::size_t>(begin - at);
    const auto added = static_cast<std::size_t>(
        std::count_if(begin, end, [](const Edit& edit) { return edit.sign == '+'; }));
    const auto removed = static_cast<std::size_t>(
        std::count_if(begin, end, [](const Edit& edit) { return edit.sign == '-'; }));
    const auto total = static_cast<std::size_t>(end - begin);
    out.push_back("@@ -" + rangeText(lineBefore, total - added) + " +" +
                  rangeText(lineAfter, total - removed) + " @@");
    for (auto edit = begin; edit != end; ++edit) out.push_back(edit->sign + *edit->line);
    lineBefore += total - added;
    lineAfter += total - removed;
    at = end;
  }
  return out;
}
