#include "tools/tpk/make/filetree.h"

#include "stream/packformat.h"
#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string names(const FileTree& tree) {
  std::string text;
  for (const auto& [path, node] : tree.nodes()) text += path + " ";
  return text;
}

FileNode folder() {
  FileNode node;
  node.mode = ArchiveHeader::kDirectory | 0700;
  return node;
}

TEST(FileTree, NothingComesBetweenAFolderAndItsContents) {
  FileTree tree;
  for (const char* path : {"a.b", "a/b", "a", "a-b", "a/b/c", "a b", "a\x01", "\xff", "b"})
    tree.put(path, folder());
  EXPECT_EQ(names(tree), "a a/b a/b/c a\x01 a b a-b a.b b \xff ");
}

TEST(FileTree, AddsTheFoldersThatAreMissing) {
  FileTree tree;
  tree.put("a/b/c/d", folder());
  tree.put("a/b", folder());
  tree.addMissingParents();
  EXPECT_EQ(names(tree), "a a/b a/b/c a/b/c/d ");
  EXPECT_EQ(tree.find("a")->mode, ArchiveHeader::kDirectory | 0755);
  EXPECT_EQ(tree.find("a/b")->mode, ArchiveHeader::kDirectory | 0700);
}

TEST(Spool, GivesBackWhatWasPutIn) {
  Spool spool;
  EXPECT_EQ(spool.size(), 0U);
  spool.append("hello", 5);
  spool.append(" world", 6);
  char out[7] = {};
  spool.read(4, out, 6);
  EXPECT_STREQ(out, "o worl");
  EXPECT_EQ(spool.size(), 11U);
  EXPECT_EQ(failureOf([&] { spool.read(6, out, 6); }),
            "the temporary file for contents of archives: cannot be read");
}

TEST(Spool, HasNoNameInTheTemporaryFolder) {
  const TempFolder temp;
  const char* const before = std::getenv("TMPDIR");
  const std::string kept = before ? before : "";
  setenv("TMPDIR", temp.path().c_str(), 1);
  Spool spool;
  spool.append("x", 1);
  EXPECT_EQ(listTree(temp.path(), 0), "");
  setenv("TMPDIR", (temp.path() + "/missing").c_str(), 1);
  Spool nowhere;
  const std::string failure = failureOf([&] { nowhere.append("x", 1); });
  before ? setenv("TMPDIR", kept.c_str(), 1) : unsetenv("TMPDIR");
  EXPECT_EQ(failure, temp.path() +
                         "/missing: a temporary file cannot be created: No such file or "
                         "directory");
}

}  // namespace
