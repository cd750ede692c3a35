// Writes a package file (stream/packformat.h) part by part. Failures show in the stream's state; a
// failed stream writes nothing more.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

class opackstream : public std::ofstream {
 public:
  // Creates or truncates the file; the first part begins behind the file header, which close()
  // writes.
  opackstream(const std::string& path, bool dumb);
  ~opackstream() override;

  // What is written between the two is the part's contents. Parts do not nest.
  void beginPart(std::uint32_t type);
  void endPart();
  // Writes the file header and closes the file; the destructor does it when nobody did.
  void close();

 private:
  void writeFileHeader();

  std::uint32_t magic_;
  std::streamoff partHeader_ = 0;  // position of the open part's header, 0 when none is open
  std::uint32_t type_ = 0;
};
