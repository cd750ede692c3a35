#include "tools/tpk/show/linediff.h"

#include <algorithm>

#include <dtl/dtl.hpp>

namespace {

using Lines = std::vector<std::string>;
using Place = Lines::const_iterator;
using Line = const std::string*;

enum : std::size_t { kContext = 3 };

// A line of one text or of both.
struct Edit {
  char sign;
  Line line;
};

class SameText : public dtl::Compare<Line> {
 public:
  bool impl(const Line& a, const Line& b) const override { return *a == *b; }
};

std::vector<Line> pointersTo(Place begin, Place end) {
  std::vector<Line> pointers;
  for (; begin != end; ++begin) pointers.push_back(&*begin);
  return pointers;
}

// In each change, what went stands before what came.
std::vector<Edit> editsBetween(const Lines& before, const Lines& after) {
  using Backwards = Lines::const_reverse_iterator;
  const auto head = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
  const auto tail =
      std::mismatch(before.rbegin(), Backwards(head.first), after.rbegin(), Backwards(head.second));
  dtl::Diff<Line, std::vector<Line>, SameText> middle(pointersTo(head.first, tail.first.base()),
                                                      pointersTo(head.second, tail.second.base()));
  // When two million steps were not enough, the rest counts as replaced: of long texts that have
  // little in common the shortest difference would take minutes.
  middle.onUnserious();
  middle.compose();

  std::vector<Edit> edits;
  std::vector<Edit> added;  // in the change that is being looked at
  const auto take = [&](int type, Line line) {
    if (type == dtl::SES_COMMON) edits.insert(edits.end(), added.begin(), added.end());
    if (type == dtl::SES_COMMON) added.clear();
    (type == dtl::SES_ADD ? added : edits).push_back({"- +"[type - dtl::SES_DELETE], line});
  };
  for (const Line line : pointersTo(before.begin(), head.first)) take(dtl::SES_COMMON, line);
  for (const auto& [line, info] : middle.getSes().getSequence()) take(info.type, line);
  for (const Line line : pointersTo(tail.first.base(), before.end())) take(dtl::SES_COMMON, line);
  edits.insert(edits.end(), added.begin(), added.end());
  return edits;
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
  const std::vector<Edit> edits = editsBetween(before, after);
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
