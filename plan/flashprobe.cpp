#include "plan/flashprobe.h"

#include <cstdint>

#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr char kFlashDevice[] = "/dev/mtd0";
constexpr std::uint32_t kLargeBlock = 256 * 1024;

}  // namespace

bool flashHasLargeBlocks() {
  const int device = open(kFlashDevice, O_RDONLY | O_CLOEXEC);
  if (device < 0) return false;
  mtd_info_t info = {};
  const bool answered = ioctl(device, MEMGETINFO, &info) == 0;
  close(device);
  return answered && info.erasesize == kLargeBlock;
}
