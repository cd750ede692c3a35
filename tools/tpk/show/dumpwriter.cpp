#include "tools/tpk/show/dumpwriter.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

enum : std::size_t {
  kRowSize = 8,
  kLongField = 32,  // more than that is cut to
  kShownOfLong = 16,
};

const char kBold[] = "\033[1m";
const char kDim[] = "\033[2m";
const char kRed[] = "\033[31m";
const char kYellow[] = "\033[33m";
const char kPlain[] = "\033[0m";

// Where the bytes of a row stand.
const char kIndent[] = "           ";

std::string hexOf(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const unsigned byte = static_cast<unsigned char>(c);
    if (!text.empty()) text += ' ';
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

// "|#!/bin/b|", with a dot for what is not ASCII.
std::string charactersOf(const std::string& bytes) {
  std::string text = "|";
  for (const char c : bytes) text += c >= ' ' && c <= '~' ? c : '.';
  return text + '|';
}

}  // namespace

void DumpWriter::heading(const std::string& text) { out_ << '\n' << coloured(kBold, text) << '\n'; }

void DumpWriter::field(std::uint64_t offset, std::uint64_t size, const std::string& name,
                       const std::string& meaning, const Source& source) {
  const auto inFirstRow = [&meaning](std::uint64_t place, const std::string&) {
    return place == 0 ? meaning : std::string();
  };
  rows(offset, size, name, inFirstRow, source);
}

void DumpWriter::data(std::uint64_t offset, std::uint64_t size, const std::string& name,
                      const Source& source) {
  rows(
      offset, size, name,
      [](std::uint64_t, const std::string& bytes) { return charactersOf(bytes); }, source);
}

void DumpWriter::rows(std::uint64_t offset, std::uint64_t size, const std::string& name,
                      const Meaning& meaning, const Source& source) {
  const bool cut = size > kLongField && !style_.full;
  const std::uint64_t shown = cut ? std::uint64_t{kShownOfLong} : size;
  std::array<char, kRowSize> buffer;
  for (std::uint64_t done = 0; done < shown;) {
    const std::size_t wanted = std::min<std::uint64_t>(shown - done, kRowSize);
    const std::size_t got = source(buffer.data(), wanted);
    const std::string bytes(buffer.data(), got);
    row(offset + done, bytes, done == 0 ? name : "", meaning(done, bytes));
    done += got;
    if (got < wanted) break;
  }
  if (cut) elided(size - shown, "bytes");
  if (mark_ == ' ') printMarks(offset + size);
}

void DumpWriter::record(std::uint64_t offset, const std::string& bytes,
                        const std::vector<FieldPiece>& pieces) {
  std::size_t place = 0;
  for (const FieldPiece& piece : pieces) {
    const std::string there = bytes.substr(place, piece.width);
    const bool cut = there.size() < piece.width;
    const std::string meaning =
        cut ? std::to_string(there.size()) + " of its " + std::to_string(piece.width) + " bytes"
            : piece.meaning;
    if (!there.empty()) field(offset + place, there.size(), piece.name, meaning, bytesOf(there));
    place += there.size();
    if (cut) return;
  }
}

void DumpWriter::printMarks(std::uint64_t end) {
  for (; printedMarks_ < marks_.size() && marks_[printedMarks_].offset < end; ++printedMarks_)
    wrong(marks_[printedMarks_].text);
}

DumpWriter::Source bytesOf(const std::string& bytes) {
  return [&bytes, done = std::size_t{0}](char* out, std::size_t count) mutable {
    const std::size_t got = std::min(count, bytes.size() - done);
    std::copy_n(bytes.data() + done, got, out);
    done += got;
    return got;
  };
}

void DumpWriter::elided(std::uint64_t count, const std::string& what) {
  out_ << kIndent << coloured(kDim, "... " + std::to_string(count) + ' ' + what + " more") << '\n';
}

void DumpWriter::wrong(const std::string& text) { pointer(kRed, "^ here: " + text); }

void DumpWriter::note(const std::string& text) { pointer(kYellow, "^ note: " + text); }

void DumpWriter::row(std::uint64_t offset, const std::string& bytes, const std::string& name,
                     const std::string& meaning) {
  std::array<char, 32> place;
  std::snprintf(place.data(), place.size(), "%c%08llx", mark_,
                static_cast<unsigned long long>(offset));
  std::string text = coloured(kDim, place.data());
  text += "  " + hexOf(bytes);
  if (!name.empty() || !meaning.empty()) {
    text.append(3 * (kRowSize - bytes.size()) + (bytes.empty() ? 1 : 2), ' ');
    text += name;
    text.append(name.size() < 14 ? 14 - name.size() : 1, ' ');
    text += meaning;
  }
  out_ << text.substr(0, text.find_last_not_of(' ') + 1) << '\n';
}

void DumpWriter::pointer(const char* colour, const std::string& text) {
  out_ << kIndent << coloured(colour, text) << '\n';
}

std::string DumpWriter::coloured(const char* colour, const std::string& text) const {
  return style_.colour ? colour + text + kPlain : text;
}
