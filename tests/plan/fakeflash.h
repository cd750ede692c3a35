// Answers the geometry request of flash devices in place of the kernel, for this whole executable.
#pragma once

#include <cstdint>
#include <optional>

class FakeFlash {
 public:
  // While it lives the request gets this erase size, or fails when there is none.
  explicit FakeFlash(std::optional<std::uint32_t> eraseSize);
  ~FakeFlash();
  FakeFlash(const FakeFlash&) = delete;
  FakeFlash& operator=(const FakeFlash&) = delete;

  // Requests that came.
  unsigned requests() const;
};
