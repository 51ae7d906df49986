// SPDX-License-Identifier: MIT
// Lenient reading under faults: a call that failed may be repeated, and gives the same picture.
#include <gtest/gtest.h>

#include <string>

#include "faulty.h"
#include "support/canvas.h"
#include "support/progressiveStream.h"
#include "support/reader.h"

namespace jpgtest {
namespace {

namespace faulty = jpg::faulty;
using faulty::Fault;
using faulty::Operation;

Bytes pixelsOf(JPGHANDLE h, uint32_t *result) {
  Canvas canvas(43, 37, 3);
  const JpgRect rect = canvas.rect();
  *result = jpgReadToRect(h, &rect, 37);
  EXPECT_TRUE(canvas.guardsIntact());
  return canvas.pixels();
}

// Each allocation of the first decode call fails once; the call is then repeated.
TEST(LenientHeap, ACallThatFoundNoMemoryMayBeRepeated) {
  const Picture picture = makePicture(43, 37, {0x22, 0x11, 0x11}, Fill::kSmooth, 61);
  for (const Bytes &stream : {encode(picture), encodeInScans(picture, {{0}, {1}, {2}}),
                              encodeProgressive(picture, spectralScript(3))}) {
    faulty::reset();
    uint32_t result = 0;
    Bytes expected;
    {
      const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT | JPG_READ_SMOOTH);
      expected = pixelsOf(reader.handle(), &result);
      ASSERT_RESULT(JPG_OK, result);
    }
    uint32_t failures = 0;
    for (uint32_t n = 1; n < 100; n++) {
      SCOPED_TRACE(n);
      faulty::reset();
      const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT | JPG_READ_SMOOTH);
      faulty::arm(Operation::kAlloc, Fault::kFail, faulty::calls(Operation::kAlloc) + n);
      const Bytes first = pixelsOf(reader.handle(), &result);
      if (result == JPG_OK) break;
      failures++;
      ASSERT_RESULT(JPG_E_OUT_OF_MEMORY, result);
      EXPECT_EQ(expected == pixelsOf(reader.handle(), &result), true);
      EXPECT_RESULT(JPG_OK, result);
    }
    EXPECT_GT(failures, 1U);
    EXPECT_LT(failures, 99U);
  }
}

}  // namespace
}  // namespace jpgtest
