// A piece of a stream, for tests.
#pragma once

#include <cstddef>
#include <istream>
#include <string>

// Shorter than asked for at the end.
inline std::string readCount(std::istream& in, std::size_t count) {
  std::string data(count, '\0');
  in.read(&data[0], static_cast<std::streamsize>(count));
  data.resize(static_cast<std::size_t>(in.gcount()));
  return data;
}
