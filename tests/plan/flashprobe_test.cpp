#include "plan/flashprobe.h"

#include "tests/plan/fakeflash.h"
#include "tests/support/inroot.h"

#include <fcntl.h>

namespace {

std::size_t countDescriptors() {
  std::size_t count = 0;
  for (int descriptor = 0; descriptor < 256; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) ++count;
  }
  return count;
}

class FlashProbe : public InRoot {
 protected:
  bool probe(std::optional<std::uint32_t> eraseSize) {
    const FakeFlash flash(eraseSize);
    const std::size_t before = countDescriptors();
    const bool large = flashHasLargeBlocks();
    EXPECT_EQ(countDescriptors(), before);
    requests_ = flash.requests();
    return large;
  }

  unsigned requests_ = 0;
};

TEST_F(FlashProbe, NoDeviceHasNoLargeBlocks) {
  EXPECT_FALSE(probe(262144));
  EXPECT_EQ(requests_, 0u);
}

TEST_F(FlashProbe, BlocksOf256KiBAreLarge) {
  writeFile("/dev/mtd0", "");
  EXPECT_TRUE(probe(262144));
  EXPECT_EQ(requests_, 1u);
}

TEST_F(FlashProbe, NoOtherSizeIsLarge) {
  writeFile("/dev/mtd0", "");
  for (const std::uint32_t size : {0u, 1u, 131072u, 262143u, 262145u, 524288u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(probe(size)) << size;
  }
}

TEST_F(FlashProbe, ADeviceThatDoesNotAnswerHasNoLargeBlocks) {
  writeFile("/dev/mtd0", "");
  EXPECT_FALSE(probe(std::nullopt));
  EXPECT_EQ(requests_, 1u);
}

// The kernel itself refuses the request for what is no flash.
TEST_F(FlashProbe, AnythingElseThanFlashHasNoLargeBlocks) {
  writeFile("/dev/mtd0", "");
  const std::size_t before = countDescriptors();
  EXPECT_FALSE(flashHasLargeBlocks());
  EXPECT_EQ(countDescriptors(), before);
}

}  // namespace
