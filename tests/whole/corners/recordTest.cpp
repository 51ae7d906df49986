// SPDX-License-Identifier: MIT
// Records that no prolog makes, as damage to the heap would: calls on them find nothing that they
// could serve, and store nothing.
#include <gtest/gtest.h>

#include "share/jpgShare.h"
#include "support/canvas.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/reader.h"

namespace jpgtest {
namespace {

const std::vector<uint8_t> kLayout = {0x22, 0x11, 0x11};

TEST(Record, OfAnotherProcessHasNone) {
  const Reader reader = Reader::ofMemory(encode(makePicture(16, 16, kLayout)));
  for (const uint32_t marker : {0U, 0xFFBFU, 0xFFC4U, 0xFFC5U, 0xFFFFFFFFU}) {
    reader.handle()->sofMarker = marker;
    uint32_t process = 77;
    EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadGetCodingProcess(reader.handle(), &process));
    EXPECT_EQ(77u, process);
  }
}

// Blocks of an MCU's largest component are 1, 2 or 4.
TEST(Record, OfAnotherMcuIsNotDecoded) {
  const Picture p = makePicture(16, 16, kLayout);
  for (const uint32_t blocks : {0U, 3U, 5U, 16U}) {
    for (const bool progressive : {false, true}) {
      const Reader reader =
          Reader::ofMemory(progressive ? encodeProgressive(p, spectralScript(3)) : encode(p));
      ASSERT_RESULT(JPG_OK, reader.result());
      JPGHANDLE h = reader.handle();
      h->hvMax = blocks;
      Canvas canvas(16, 16, 3);
      const JpgRect rect = canvas.rect();
      if (progressive) {
        EXPECT_RESULT(JPG_OK, jpgReadProgressiveToRect(h, &rect, 16, 0));
      } else {
        EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadToRect(h, &rect, 16));
        EXPECT_RESULT(JPG_OK, jpgReadScaleOutputToRect(h, &rect, 8, JPG_SCALE_HALF));
      }
      EXPECT_TRUE(canvas.untouched());
    }
  }
}

}  // namespace
}  // namespace jpgtest
