// A router root in which packages are installed by calling the package itself.
#pragma once

#include "model/version.h"
#include "package/package.h"
#include "tests/support/inroot.h"
#include "tests/support/packbuilder.h"

#include <memory>
#include <string>

class InstallWorld : public InRoot {
 protected:
  static constexpr std::uint32_t kOne = packVersion(1, 0, kKindFinal, 0);
  static constexpr std::uint32_t kTwo = packVersion(2, 0, kKindFinal, 0);

  void SetUp() override;
  void TearDown() override;

  // A fresh "tool" 1.0, which the calls below install; a test sets its state before.
  void restart();
  // The head of its package file.
  static PackBuilder pack(bool dumb = false);
  // The whole file.
  static PackBuilder signedPack(const ArchiveBuilder& archive, bool dumb = false);

  // Unpacks the archive alone.
  bool extract(const ArchiveBuilder& archive, bool force = false, bool relative = false);
  // The same of any contents of the archive part.
  bool extractPart(const std::string& contents, bool force = false, bool relative = false);
  // Installs a package file: its head is read, the rest is the package's business. False also when
  // the head is broken.
  bool install(const PackBuilder& file, bool relative = false);
  bool installBytes(const std::string& bytes, bool relative = false);
  // The type of the part on which the last installation left the stream.
  std::uint32_t leftAt() const { return leftAt_; }

  // Adds a package that lists the paths.
  Package* addInstalled(const std::string& name, const std::set<std::string>& files);
  // The messages since the last call, one a line.
  std::string messages();
  // What is on the flash, without the database and the drop directories.
  static std::string flash(unsigned fields = 0);
  // The paths that the package lists, one a line.
  std::string listed() const;

  std::unique_ptr<Package> package_;

 private:
  std::uint32_t leftAt_ = 0;
  std::size_t messagesTaken_ = 0;
};
