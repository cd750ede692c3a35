#include "tools/tpk/show/diff.h"

#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/show/packagediff.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace {

struct Side {
  explicit Side(const std::string& path) : file(path), contents(readPackedFile(file)) {}

  InputFile file;
  PackedFile contents;
};

bool sameBytes(const InputFile& a, const InputFile& b) {
  if (a.size() != b.size()) return false;
  const auto first = a.open();
  const auto second = b.open();
  std::vector<char> one(65536);
  std::vector<char> other(one.size());
  for (;;) {
    first->read(one.data(), static_cast<std::streamsize>(one.size()));
    second->read(other.data(), static_cast<std::streamsize>(other.size()));
    if (first->gcount() != second->gcount()) return false;
    if (!std::equal(one.begin(), one.begin() + first->gcount(), other.begin())) return false;
    if (!*first) return true;
  }
}

class FileDiff {
 public:
  FileDiff(std::ostream& out, const Side& before, const Side& after)
      : out_(out), before_(before), after_(after) {}

  // Whether a difference was found.
  bool compare();

 private:
  bool compareMembers();
  bool compareMember(const PackedPackage& before, const PackedPackage& after);
  void memberLine(char sign, const PackedPackage& member);

  std::ostream& out_;
  const Side& before_;
  const Side& after_;
};

bool FileDiff::compare() {
  PackageDiff diff(out_, "");
  const PackedFile& a = before_.contents;
  const PackedFile& b = after_.contents;
  diff.value("dumb", a.dumb ? "yes" : "no", b.dumb ? "yes" : "no");
  diff.value("kind", a.bundle ? "bundle" : "package", b.bundle ? "bundle" : "package");
  if (a.bundle && b.bundle) diff.compare(before_.file, *a.bundle, after_.file, *b.bundle);
  if (!a.bundle && !b.bundle) {
    diff.compare(before_.file, *a.packages.front(), after_.file, *b.packages.front());
    return diff.any();
  }
  const bool members = compareMembers();
  return diff.any() || members;
}

bool FileDiff::compareMembers() {
  bool any = false;
  std::vector<const PackedPackage*> left;
  for (const auto& member : after_.contents.packages) left.push_back(member.get());
  for (const auto& member : before_.contents.packages) {
    const auto match = std::find_if(left.begin(), left.end(), [&](const PackedPackage* other) {
      return other->info.name == member->info.name;
    });
    if (match == left.end()) {
      memberLine('-', *member);
      any = true;
    } else {
      if (compareMember(*member, **match)) any = true;
      left.erase(match);
    }
  }
  for (const PackedPackage* member : left) {
    memberLine('+', *member);
    any = true;
  }
  return any;
}

bool FileDiff::compareMember(const PackedPackage& before, const PackedPackage& after) {
  std::ostringstream text;
  PackageDiff diff(text, "  ");
  diff.compare(before_.file, before, after_.file, after);
  if (diff.any()) out_ << printable(before.info.name) << ":\n" << text.str();
  return diff.any();
}

void FileDiff::memberLine(char sign, const PackedPackage& member) {
  out_ << sign << " package " << printable(member.info.getFullName()) << '\n';
}

}  // namespace

bool writeDiff(std::ostream& out, const DiffOptions& options) {
  const Side before(options.before);
  const Side after(options.after);
  if (sameBytes(before.file, after.file)) return true;
  if (!FileDiff(out, before, after).compare())
    out << "only in what no reader looks at: signatures, unused fields, order or compression\n";
  return false;
}
