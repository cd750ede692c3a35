#include "tools/tpk/host/text.h"

#include "tools/tpk/host/printable.h"

#include <algorithm>
#include <numeric>

namespace {

// How many letters have to be put in, left out, replaced or swapped with their neighbour to make
// one word the other.
std::size_t distance(const std::string& from, const std::string& to) {
  std::vector<std::size_t> beforeLast(to.size() + 1);
  std::vector<std::size_t> last(to.size() + 1);
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= from.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
      if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1])
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
    beforeLast.swap(last);
    last.swap(row);
  }
  return last[to.size()];
}

}  // namespace

std::string quoted(const std::string& text) { return "\"" + printable(text) + "\""; }

std::string nearestWord(const std::string& text, const std::vector<std::string>& words) {
  enum : std::size_t { kLongest = 64 };
  if (text.size() > kLongest) return "";
  std::string nearest;
  // A third of the letters, or two of a short word: more is another word.
  std::size_t best = std::max<std::size_t>(2, text.size() / 3) + 1;
  for (const std::string& word : words) {
    const std::size_t found = distance(text, word);
    if (found >= best || found >= word.size()) continue;
    best = found;
    nearest = word;
  }
  return nearest;
}
