// Preloaded into the program by tests: every open file answers as a flash device does, with the
// erase size of the environment variable FAKE_ERASE_SIZE, or with an error when that is not set.
#include <cerrno>
#include <cstdarg>
#include <cstdlib>

#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" int ioctl(int file, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (request != MEMGETINFO) {
    return static_cast<int>(syscall(SYS_ioctl, file, request, argument));
  }
  const char* const size = std::getenv("FAKE_ERASE_SIZE");
  if (!size) {
    errno = EIO;
    return -1;
  }
  mtd_info_t* const info = static_cast<mtd_info_t*>(argument);
  info->erasesize = static_cast<__u32>(std::strtoul(size, nullptr, 0));
  return 0;
}
