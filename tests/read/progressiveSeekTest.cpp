// SPDX-License-Identifier: MIT
// A progressive picture is delivered from scans that were decoded, whatever comes ahead of the
// first decode call; and the row count of passes that fail.
#include <gtest/gtest.h>

#include <vector>

#include "support/canvas.h"
#include "support/progressiveStream.h"
#include "support/reader.h"

namespace {

using namespace jpgtest;

constexpr uint16_t kWidth = 41, kHeight = 50;
constexpr int32_t kModes[] = {JPG_RESTART_FROM_START, JPG_RESTART_FROM_CURRENT};

// A restart interval a row of MCUs, so that seeks are possible.
Picture restartPicture(const std::vector<uint8_t> &layout) {
  Picture p = makePicture(kWidth, kHeight, layout, Fill::kSmooth, 7);
  const int mcu = layout[0] == 0x22 ? 16 : 8;
  p.restartInterval = static_cast<uint16_t>((kWidth + mcu - 1) / mcu);
  return p;
}

int32_t pixelBytes(const Picture &p) { return p.components.size() < 3 ? 1 : 3; }

class Decoding {
 public:
  explicit Decoding(const Bytes &stream, const Picture &p)
      : reader_(Reader::ofMemory(stream)), canvas_(p.width, p.height, pixelBytes(p)) {
    EXPECT_RESULT(JPG_OK, reader_.result());
  }
  uint32_t all(int32_t mode = 0) {
    const JpgRect rect = canvas_.rect();
    return jpgReadProgressiveToRect(reader_.handle(), &rect, kHeight, mode);
  }
  JPGHANDLE handle() const { return reader_.handle(); }
  Bytes pixels() const { return canvas_.pixels(); }

 private:
  Reader reader_;
  Canvas canvas_;
};

TEST(ProgressiveSeek, AheadOfTheFirstCallSpoilsNothing) {
  for (const std::vector<uint8_t> &layout :
       {std::vector<uint8_t>{0x11}, {0x11, 0x11, 0x11}, {0x22, 0x11, 0x11}}) {
    const Picture p = restartPicture(layout);
    for (const Script &script : {spectralScript(layout.size()), refiningScript(layout.size())}) {
      const Bytes stream = encodeProgressive(p, script);
      Decoding undisturbed(stream, p);
      ASSERT_RESULT(JPG_OK, undisturbed.all());
      // Up to the first scan's last interval the seek succeeds, behind it it gives -1 and has
      // set other scans up.
      for (const int32_t mode : kModes) {
        for (int32_t intervals = 0; intervals < 25; intervals++) {
          Decoding sought(stream, p);
          jpgReadSeekRestartMarker(sought.handle(), intervals, static_cast<uint32_t>(mode));
          SCOPED_TRACE(testing::Message() << layout.size() << " components, " << intervals
                                          << " intervals, mode " << mode);
          EXPECT_RESULT(JPG_OK, sought.all());
          EXPECT_EQ(sought.pixels(), undisturbed.pixels());
        }
      }
    }
  }
}

TEST(ProgressiveSeek, AheadOfTheFirstScanOfSeveralCallsSpoilsNothing) {
  const Picture p = restartPicture({0x22, 0x11, 0x11});
  const Bytes stream = encodeProgressive(p, refiningScript(3));
  Decoding undisturbed(stream, p), sought(stream, p);
  EXPECT_RESULT(JPG_NO_DATA, jpgReadSeekRestartMarker(sought.handle(), 9, JPG_RESTART_FROM_START));
  for (;;) {
    const uint32_t r = undisturbed.all(JPG_PROGRESSIVE_NEXT_SCAN);
    EXPECT_RESULT(r, sought.all(JPG_PROGRESSIVE_NEXT_SCAN));
    EXPECT_EQ(sought.pixels(), undisturbed.pixels());
    if (r != JPG_OK) break;
  }
}

TEST(ProgressiveSeek, BehindTheScansLeavesThemInTheStore) {
  const Picture p = restartPicture({0x22, 0x11, 0x11});
  Decoding d(encodeProgressive(p, spectralScript(3)), p);
  ASSERT_RESULT(JPG_OK, d.all());
  const Bytes whole = d.pixels();
  // The second row of MCUs on: the row count is 1, so the rows are those from 1 on, which the
  // store gives by whole rows of MCUs.
  EXPECT_RESULT(JPG_OK, jpgReadSeekRestartMarker(d.handle(), 1, JPG_RESTART_FROM_START));
  EXPECT_RESULT(JPG_OK, d.all());
  EXPECT_EQ(d.pixels(), whole);
}

// Of a call that asks for a scan behind the last one, -1 is the answer, and rows done stay all:
// so the next call without a wish for scans begins one more pass, which fails as well, and the
// one behind it has no rows left.
TEST(ProgressiveRows, OfAPassThatFailedAreNotCountedAnew) {
  const Picture p = restartPicture({0x11, 0x11, 0x11});
  Decoding d(encodeProgressive(p, spectralScript(3)), p);
  uint32_t r = JPG_OK;
  int scans = 0;
  while ((r = d.all(JPG_PROGRESSIVE_NEXT_SCAN)) == JPG_OK) scans++;
  EXPECT_GT(scans, 1);
  EXPECT_RESULT(JPG_NO_DATA, r);
  EXPECT_RESULT(JPG_NO_DATA, d.all(JPG_PROGRESSIVE_NEXT_SCAN));
  EXPECT_RESULT(JPG_NO_DATA, d.all());
  EXPECT_RESULT(JPG_E_FAIL, d.all());
  EXPECT_RESULT(JPG_E_FAIL, d.all(JPG_PROGRESSIVE_NEXT_SCAN));
}

}  // namespace
