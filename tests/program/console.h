// The bytes that a run writes to its console, put together event by event: the terminal's rules
// once more, in a form to read beside a test. Every call returns the object, for chains.
#pragma once

#include "tests/program/pack.h"

#include <cstdint>
#include <string>

class Console {
 public:
  // Text that goes past the run log, with a line end.
  Console& line(const std::string& text = std::string());
  // The status line becomes text. Nothing is written when it is that already.
  Console& status(const std::string& text);
  // A status line with a bar for so many of total bytes.
  Console& bar(const std::string& label, std::uint64_t position, std::uint64_t total);
  // Messages, which the run log gets too. Log lines and errors take the status line away, a warning
  // leaves it below itself.
  Console& log(const std::string& text);
  Console& warning(const std::string& text);
  Console& error(const std::string& text);

  // What happens to a whole package file, given its bytes.

  // The verification of a file of the drop directory: bars after each read, then the verdict.
  Console& verified(const std::string& name, const std::string& bytes);
  // The placing of one package: a bar before its contents, and one at the end of its archive. That
  // has to have files and to fit into one read of 4096 bytes. Which package of a bundle counts from
  // 0; fullName is the bundle's then.
  Console& installing(const std::string& fullName, const std::string& bytes, unsigned which = 0);
  // The same for a package that came alone, with the closing message.
  Console& installed(const std::string& fullName, const std::string& bytes);
  // The line that closes a bundle.
  Console& bundleInstalled(const std::string& fullName);

  const std::string& bytes() const { return bytes_; }
  // The lines of the run log so far.
  const std::string& messages() const { return messages_; }

 private:
  Console& message(const std::string& text);

  std::string bytes_;
  std::string messages_;
  std::string status_;
};
