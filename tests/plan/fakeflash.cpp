#include "tests/plan/fakeflash.h"

#include <cerrno>
#include <cstdarg>

#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool installed = false;
std::optional<std::uint32_t> answer;
unsigned requestCount = 0;

int answerGeometry(void* to) {
  ++requestCount;
  if (!answer) {
    errno = ENOTTY;
    return -1;
  }
  static_cast<mtd_info_t*>(to)->erasesize = *answer;
  return 0;
}

}  // namespace

// In front of the C library's function of that name.
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (installed && request == MEMGETINFO) return answerGeometry(argument);
  return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}

FakeFlash::FakeFlash(std::optional<std::uint32_t> eraseSize) {
  installed = true;
  answer = eraseSize;
  requestCount = 0;
}

FakeFlash::~FakeFlash() { installed = false; }

unsigned FakeFlash::requests() const { return requestCount; }
