// SPDX-License-Identifier: MIT
// Two MCUs of single blocks at a time.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "faulty.h"
#include "kernels/jpgKernels.h"
#include "support/random.h"
#include "write/jpgWVLC.h"

namespace {

using namespace jpg;

// A frame of components of one block each; the first has table 0, the others have table 1.
std::unique_ptr<JpgContext> frameOf(uint32_t components, const Kernels *kernels) {
  auto c = std::make_unique<JpgContext>();
  c->kernels = kernels;
  c->write.frameComponents = components;
  for (uint32_t i = 0; i < components; i++) {
    c->scanComponents[i].blocksPerMcu = 1;
    c->scanComponents[i].tq = i == 0 ? 0 : 1;
  }
  return c;
}

TEST(Pairs, AreOfOneComponentOrThreeWithChromaAlike) {
  Kernels kernels = *bestKernels();
  kernels.forwardBlocks = 2;
  EXPECT_TRUE(encodesPairs(*frameOf(1, &kernels)));
  EXPECT_TRUE(encodesPairs(*frameOf(3, &kernels)));
  EXPECT_FALSE(encodesPairs(*frameOf(2, &kernels)));
  EXPECT_FALSE(encodesPairs(*frameOf(4, &kernels)));
  const auto unlike = frameOf(3, &kernels);
  unlike->scanComponents[2].tq = 0;
  EXPECT_FALSE(encodesPairs(*unlike));
  const auto subsampled = frameOf(3, &kernels);
  subsampled->scanComponents[0].blocksPerMcu = 2;
  EXPECT_FALSE(encodesPairs(*subsampled));
  kernels.forwardBlocks = 1;
  EXPECT_FALSE(encodesPairs(*frameOf(1, &kernels)));
}

// Writes a grey picture of noise, some 40 KB; the first code that isn't JPG_OK.
uint32_t writeNoise(const std::string &name) {
  constexpr uint32_t kSide = 256;
  std::vector<uint8_t> pixels(kSide * kSide);
  jpgtest::Random r(1);
  for (uint8_t &pixel : pixels) pixel = static_cast<uint8_t>(r.below(256));
  JpgRect rect = {};
  rect.width = rect.height = rect.stride = kSide;
  rect.channels = 1;
  rect.bitsPerSample = 8;
  rect.bits = pixels.data();
  JPGHANDLE h = nullptr;
  const std::u16string wide(name.begin(), name.end());
  uint32_t result = jpgWritePrologToFile(wide.c_str(), 0, &h);
  if (result != JPG_OK) return result;
  const uint32_t codes[] = {jpgWriteSetQuantizationFactor(h, 90), jpgWriteFromRect(h, &rect, kSide),
                            jpgWriteEpilogToFile(h)};
  for (const uint32_t code : codes) {
    if (result == JPG_OK) result = code;
  }
  return result;
}

// Blocks of some 40 bytes: a stage of 4096 bytes is full in either MCU of a pair.
TEST(Pairs, TellOfEveryWriteThatFails) {
  const std::string name = testing::TempDir() + "jpg_pair_" + std::to_string(getpid());
  faulty::reset();
  ASSERT_EQ(writeNoise(name), JPG_OK);
  const uint32_t writes = faulty::calls(faulty::Operation::kWrite);
  ASSERT_GE(writes, 10u);
  for (uint32_t n = 1; n <= writes; n++) {
    for (const auto fault : {faulty::Fault::kFail, faulty::Fault::kCutShort}) {
      faulty::reset();
      faulty::arm(faulty::Operation::kWrite, fault, n);
      EXPECT_EQ(writeNoise(name), JPG_E_WRITE_FAULT) << "write " << n;
    }
  }
  std::remove(name.c_str());
}

}  // namespace
