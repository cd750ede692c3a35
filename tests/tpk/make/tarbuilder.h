// Tars in memory, made without the library that reads them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

class TarBuilder {
 public:
  enum Type : char {
    kFile = '0',
    kHardLink = '1',
    kLink = '2',
    kChar = '3',
    kBlock = '4',
    kFolder = '5',
    kFifo = '6',
    kPax = 'x',
  };

  // For the entries that follow.
  TarBuilder& owner(unsigned user, unsigned group) {
    user_ = user;
    group_ = group;
    return *this;
  }
  TarBuilder& time(unsigned long seconds) {
    time_ = seconds;
    return *this;
  }

  // target: of links; device numbers only of devices.
  TarBuilder& entry(const std::string& name, Type type, unsigned mode, const std::string& data = {},
                    const std::string& target = {}, unsigned major = 0, unsigned minor = 0) {
    char header[kBlockSize] = {};
    std::memcpy(header, name.data(), name.size());
    number(header + 100, 8, mode);
    number(header + 108, 8, user_);
    number(header + 116, 8, group_);
    number(header + 124, 12, data.size());
    number(header + 136, 12, time_);
    header[156] = type;
    std::memcpy(header + 157, target.data(), target.size());
    std::memcpy(header + 257, "ustar\00000", 8);
    number(header + 329, 8, major);
    number(header + 337, 8, minor);
    std::memset(header + 148, ' ', 8);
    unsigned sum = 0;
    for (const char c : header) sum += static_cast<unsigned char>(c);
    number(header + 148, 7, sum);
    bytes_.append(header, sizeof header);
    bytes_ += data;
    bytes_.append((kBlockSize - data.size() % kBlockSize) % kBlockSize, '\0');
    return *this;
  }

  TarBuilder& file(const std::string& name, const std::string& data, unsigned mode = 0644) {
    return entry(name, kFile, mode, data);
  }

  // A record such as "path=x" for the next entry.
  TarBuilder& pax(const std::string& record) {
    std::size_t length = record.size() + 3;
    while (std::to_string(length).size() + record.size() + 2 != length) ++length;
    return entry("pax", kPax, 0644, std::to_string(length) + " " + record + "\n");
  }

  std::string bytes() const { return bytes_ + std::string(2 * std::size_t{kBlockSize}, '\0'); }

 private:
  enum : std::size_t { kBlockSize = 512 };

  static void number(char* field, std::size_t width, unsigned long value) {
    std::snprintf(field, width, "%0*lo", static_cast<int>(width - 1), value);
  }

  unsigned user_ = 0;
  unsigned group_ = 0;
  unsigned long time_ = 1000;
  std::string bytes_;
};
