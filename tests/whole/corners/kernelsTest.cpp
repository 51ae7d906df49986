// SPDX-License-Identifier: MIT
// The plain kernels and those of this processor: the same streams and the same pixels.
#include <gtest/gtest.h>

#include "faulty.h"
#include "kernels/jpgKernels.h"
#include "share/jpgShare.h"
#include "support/canvas.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/random.h"
#include "support/reader.h"

#if defined(__arm__) && defined(__linux__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

namespace jpgtest {
namespace {

void choose(JPGHANDLE h, bool plain) {
  if (plain) h->kernels = &jpg::jpgPortableKernels;
}

struct Written {
  int32_t width, height, channels;
  uint32_t sampling;
  int32_t quality;
};

Bytes write(const Written &w, bool plain) {
  Bytes samples(static_cast<size_t>(w.width * w.height * w.channels));
  Random random(static_cast<uint32_t>(w.width + w.quality));
  for (uint8_t &s : samples) s = static_cast<uint8_t>(random.between(0, 255));
  const JpgRect rect = {w.width, w.height, w.width * w.channels, 0, w.channels, 8, samples.data(),
                        0,       0};
  JPGHANDLE h = nullptr;
  EXPECT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
  choose(h, plain);
  EXPECT_RESULT(JPG_OK, jpgWriteSetSubsamplingFactor(h, w.sampling));
  EXPECT_RESULT(JPG_OK, jpgWriteSetQuantizationFactor(h, w.quality));
  EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &rect, static_cast<uint32_t>(w.height)));
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
  const auto *bytes = static_cast<const uint8_t *>(data);
  Bytes stream(bytes, bytes + size);
  EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
  return stream;
}

Bytes read(const Bytes &stream, const Picture &p, bool plain) {
  const Reader reader = Reader::ofMemory(stream);
  choose(reader.handle(), plain);
  Canvas canvas(p.width, p.height, 3);
  const JpgRect rect = canvas.rect();
  uint32_t process = 0;
  EXPECT_RESULT(JPG_OK, jpgReadGetCodingProcess(reader.handle(), &process));
  EXPECT_RESULT(JPG_OK, process == JPG_PROCESS_PROGRESSIVE
                            ? jpgReadProgressiveToRect(reader.handle(), &rect, p.height, 0)
                            : jpgReadToRect(reader.handle(), &rect, p.height));
  EXPECT_TRUE(canvas.guardsIntact());
  return canvas.memory();
}

// The sets that this program's processor can run, by the compiler's own look at it.
uint32_t setsOfProcessor() {
#if defined(__x86_64__) || defined(__i386__)
  return 1U + (__builtin_cpu_supports("sse2") != 0 ? 1U : 0U) +
         (__builtin_cpu_supports("avx2") != 0 ? 1U : 0U);
#elif defined(__ARM_NEON)
  return 2;
#elif defined(__arm__) && defined(__linux__)
  return (getauxval(AT_HWCAP) & HWCAP_NEON) != 0 ? 2 : 1;
#else
  return 1;
#endif
}

TEST(Kernels, AreTakenWhereTheProcessorHasThem) {
  uint32_t sets = 1;
  const jpg::Kernels *last = jpg::bestKernels();
  for (; last->next != nullptr; last = last->next) sets++;
  EXPECT_EQ(sets, setsOfProcessor());
  EXPECT_EQ(last, &jpg::jpgPortableKernels);
}

TEST(Kernels, WriteTheSameStreams) {
  for (const uint32_t sampling : {0x00111111U, 0x00211111U, 0x00121111U, 0x00221111U}) {
    for (const int32_t width : {1, 16, 33, 64}) {
      for (const int32_t quality : {1, 50, 90, 100}) {
        const Written colour = {width, 35, 3, sampling, quality};
        EXPECT_EQ(write(colour, false), write(colour, true)) << width << " " << quality;
        const Written grey = {width, 35, 1, sampling, quality};
        EXPECT_EQ(write(grey, false), write(grey, true)) << width << " " << quality;
      }
    }
  }
}

TEST(Kernels, DecodeTheSamePixels) {
  const std::vector<std::vector<uint8_t>> layouts = {
      {0x11}, {0x11, 0x11, 0x11}, {0x21, 0x11, 0x11}, {0x12, 0x11, 0x11}, {0x22, 0x11, 0x11}};
  for (const std::vector<uint8_t> &layout : layouts) {
    for (const Fill fill : {Fill::kSmooth, Fill::kDense, Fill::kExtreme, Fill::kDcOnly}) {
      const Picture p = makePicture(45, 39, layout, fill, 17);
      const Bytes stream = encode(p);
      EXPECT_EQ(read(stream, p, false), read(stream, p, true));
    }
    const Picture p = makePicture(45, 39, layout, Fill::kSparse, 18);
    const Bytes stream = encodeProgressive(p, refiningScript(layout.size()));
    EXPECT_EQ(read(stream, p, false), read(stream, p, true));
  }
}

TEST(Kernels, ArePlainOnAProcessorWithoutFeatures) {
  const Bytes stream = encode(makePicture(8, 8, {0x11}));
  jpg::faulty::reset();
  EXPECT_EQ(Reader::ofMemory(stream).handle()->kernels, jpg::bestKernels());
  jpg::faulty::usePlainProcessor();
  EXPECT_EQ(Reader::ofMemory(stream).handle()->kernels, &jpg::jpgPortableKernels);
  jpg::faulty::reset();
}

}  // namespace
}  // namespace jpgtest
