// The lines of an annotated hex dump: offset, bytes, name of the field, meaning.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

struct FieldPiece {
  const char* name;
  std::size_t width;
  std::string meaning;
};

// Something to point at: the field with this byte of the file.
struct DumpMark {
  std::uint64_t offset;
  std::string text;
};

struct DumpStyle {
  bool full = false;    // long fields, lists and archives whole
  bool colour = false;  // for a terminal
};

class DumpWriter {
 public:
  // Puts at most that many bytes of the field to the place; fewer only at the end of what there is.
  using Source = std::function<std::size_t(char*, std::size_t)>;

  DumpWriter(std::ostream& out, const DumpStyle& style) : out_(out), style_(style) {}

  // In the order of their offsets; each is printed behind its field.
  void setMarks(std::vector<DumpMark> marks) { marks_ = std::move(marks); }
  // Prints those that no field had.
  void finishMarks() { printMarks(UINT64_MAX); }

  bool full() const { return style_.full; }
  // Offsets from here on count in inflated data, and are marked with "+".
  void setInflated(bool on) { mark_ = on ? '+' : ' '; }

  void heading(const std::string& text);
  // One field; of a long one the first bytes, unless the dump is a full one.
  void field(std::uint64_t offset, std::uint64_t size, const std::string& name,
             const std::string& meaning, const Source& source);
  // The same with the characters of each row as their meaning.
  void data(std::uint64_t offset, std::uint64_t size, const std::string& name,
            const Source& source);
  // The pieces of a record, as far as there are bytes of it.
  void record(std::uint64_t offset, const std::string& bytes,
              const std::vector<FieldPiece>& pieces);
  // In place of what is not shown: "... 12 entries more".
  void elided(std::uint64_t count, const std::string& what);
  // Points at the line above.
  void wrong(const std::string& text);
  void note(const std::string& text);
  void line(const std::string& text) { out_ << text << '\n'; }

 private:
  using Meaning = std::function<std::string(std::uint64_t place, const std::string& bytes)>;

  void rows(std::uint64_t offset, std::uint64_t size, const std::string& name,
            const Meaning& meaning, const Source& source);
  void row(std::uint64_t offset, const std::string& bytes, const std::string& name,
           const std::string& meaning);
  void printMarks(std::uint64_t end);
  void pointer(const char* colour, const std::string& text);
  std::string coloured(const char* colour, const std::string& text) const;

  std::ostream& out_;
  DumpStyle style_;
  char mark_ = ' ';
  std::vector<DumpMark> marks_;
  std::size_t printedMarks_ = 0;
};

// The bytes, which must outlive the source.
DumpWriter::Source bytesOf(const std::string& bytes);
