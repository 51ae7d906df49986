// SPDX-License-Identifier: MIT
// Segments and the frame header, below the interface.
#include "read/jpgRHead.h"

#include <gtest/gtest.h>

#include <vector>

#include "bitStream.h"
#include "share/jpgMarkers.h"

namespace {

using namespace jpg;
using jpgtest::BitStream;

using Bytes = std::vector<uint8_t>;

TEST(Segments, LengthsCountTheDataAlone) {
  BitStream b({0xFF, 0xE1, 0, 5, 1, 2, 3, 0xFF, 0xD8, 0xFF, 0xFE, 0, 2});
  Segment segment;
  ASSERT_EQ(nextSegment(b.context(), &segment), JPG_OK);
  EXPECT_EQ(segment.marker, 0xFFE1u);
  EXPECT_EQ(segment.length, 3u);
  ASSERT_EQ(nextSegment(b.context(), &segment), JPG_OK);  // skips the unread 3 bytes
  EXPECT_EQ(segment.marker, 0xFFD8u);
  EXPECT_EQ(segment.length, 0u);  // markers without a length field
  ASSERT_EQ(nextSegment(b.context(), &segment), JPG_OK);
  EXPECT_EQ(segment.marker, 0xFFFEu);
  EXPECT_EQ(segment.length, 0u);
}

TEST(Segments, OnlyC0ToFeFollowAnFf) {
  for (uint32_t code = 0; code <= 0xFF; code++) {
    BitStream b({0xFF, static_cast<uint8_t>(code), 0, 2});
    Segment segment;
    const Result r = openSegment(b.context(), &segment);
    if (code >= 0xC0 && code <= 0xFE) {
      EXPECT_EQ(r, JPG_OK) << code;
      EXPECT_EQ(segment.marker, 0xFF00u | code);
    } else {
      EXPECT_EQ(r, JPG_E_NOT_JPEG) << code;
      EXPECT_EQ(segment.marker, 0u);
      EXPECT_EQ(segment.length, 0u);
    }
  }
}

TEST(Segments, TheirDataAreReadRaw) {
  BitStream b({0xFF, 0xE5, 0, 6, 0xFF, 0x00, 0xFF, 0xD9});
  Segment segment;
  ASSERT_EQ(openSegment(b.context(), &segment), JPG_OK);
  uint8_t data[4];
  readSegmentData(b.context(), data, 4);
  EXPECT_EQ((Bytes{data, data + 4}), (Bytes{0xFF, 0x00, 0xFF, 0xD9}));
  EXPECT_EQ(b.context()->segConsumed, 4u);
}

TEST(HeaderLoop, StopsAtFramesAndScansAndSkipsTheRest) {
  // C0-C3, C5, C6, C9-CF and DA stop it; DHT, DQT, DRI and the other markers don't.
  for (uint32_t code = 0xC0; code <= 0xFE; code++) {
    Bytes data = {0xFF, static_cast<uint8_t>(code)};
    const bool bare = code >= 0xD0 && code <= 0xD9;
    const bool dri = code == 0xDD;
    if (!bare) data.insert(data.end(), {0, static_cast<uint8_t>(dri ? 4 : 2)});
    if (dri) data.insert(data.end(), {0, 7});
    data.insert(data.end(), {0xFF, 0xC0, 0, 2});  // where it stops if it didn't before
    BitStream b(data);
    uint32_t marker = 0;
    ASSERT_EQ(runHeaderLoop(b.context(), &marker), JPG_OK) << code;
    const bool stops = (code >= 0xC0 && code <= 0xC3) || code == 0xC5 || code == 0xC6 ||
                       (code >= 0xC9 && code <= 0xCF) || code == 0xDA;
    EXPECT_EQ(marker, stops ? 0xFF00u | code : 0xFFC0u) << code;
    EXPECT_EQ(b.context()->restartInterval, dri ? 7u : 0u) << code;
  }
}

TEST(HeaderLoop, ARestartIntervalHasTwoBytes) {
  for (const uint8_t length : Bytes{2, 3, 5}) {
    Bytes data = {0xFF, 0xDD, 0, length, 0, 1, 0, 0xFF, 0xC0, 0, 2};
    BitStream b(data);
    uint32_t marker = 0;
    EXPECT_EQ(runHeaderLoop(b.context(), &marker), JPG_E_BAD_SEGMENT_LENGTH) << int{length};
  }
}

// APP0 and APP14 behind which a frame follows; returns the flags.
uint32_t flagsAfter(uint8_t app, Bytes content, JpgContext *copy) {
  Bytes data = {0xFF, app, 0, static_cast<uint8_t>(content.size() + 2)};
  data.insert(data.end(), content.begin(), content.end());
  data.insert(data.end(), {0xFF, 0xC0, 0, 2});
  BitStream b(data);
  uint32_t marker = 0;
  EXPECT_EQ(runHeaderLoop(b.context(), &marker), JPG_OK);
  EXPECT_EQ(marker, kMarkerSof0);
  *copy = *b.context();
  return copy->flags;
}

TEST(Application, JfifTellsUnitsAndDensities) {
  JpgContext c;
  const Bytes jfif = {'J', 'F', 'I', 'F', 0, 1, 2, 2, 0x01, 0x2C, 0x00, 0x48, 0, 0};
  EXPECT_EQ(flagsAfter(0xE0, jfif, &c), kFlagJfifSeen);
  EXPECT_EQ(c.jfifUnits, 2);
  EXPECT_EQ(c.jfifXDensity, 300);
  EXPECT_EQ(c.jfifYDensity, 72);
  Bytes longer = jfif;
  longer.resize(20);
  EXPECT_EQ(flagsAfter(0xE0, longer, &c), kFlagJfifSeen);
  Bytes shorter = jfif;
  shorter.resize(13);
  EXPECT_EQ(flagsAfter(0xE0, shorter, &c), 0u);
  Bytes extension = jfif;
  extension[3] = 'X';
  EXPECT_EQ(flagsAfter(0xE0, extension, &c), 0u);
  Bytes unended = jfif;
  unended[4] = 'F';
  EXPECT_EQ(flagsAfter(0xE0, unended, &c), 0u);
  EXPECT_EQ(flagsAfter(0xE1, jfif, &c), 0u);  // another APPn
}

TEST(Application, AdobeTellsItsTransform) {
  JpgContext c;
  const Bytes adobe = {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 1};
  EXPECT_EQ(flagsAfter(0xEE, adobe, &c), kFlagAdobeSeen);
  EXPECT_EQ(c.adobeTransform, 1);
  Bytes shorter = adobe;
  shorter.resize(11);
  EXPECT_EQ(flagsAfter(0xEE, shorter, &c), 0u);
  Bytes other = adobe;
  other[4] = 'a';
  EXPECT_EQ(flagsAfter(0xEE, other, &c), 0u);
}

// ---- Frame header ---------------------------------------------------------

struct Frame {
  Bytes sampling;  // of every component
  Result result;
  uint32_t hMax, vMax, blocks, packed;
  uint32_t mcusPerRow, mcuRows;  // of a picture of 33 x 17
};

// The header's content behind the length: 8 bits, 17 lines of 33 samples.
Bytes frameOf(const Bytes &sampling) {
  Bytes data = {8, 0, 17, 0, 33, static_cast<uint8_t>(sampling.size())};
  for (size_t i = 0; i < sampling.size(); i++) {
    data.insert(data.end(), {static_cast<uint8_t>(i + 1), sampling[i], 0});
  }
  return data;
}

TEST(FrameHeader, DerivesTheGeometryFromTheSamplingBytes) {
  const Frame kFrames[] = {
      {{0x11}, JPG_OK, 1, 1, 1, 0x11, 5, 3},
      {{0x22}, JPG_OK, 1, 1, 1, 0x11, 5, 3},  // one component is never subsampled
      {{0x44}, JPG_OK, 1, 1, 1, 0x11, 5, 3},
      {{0x11, 0x11, 0x11}, JPG_OK, 1, 1, 3, 0x111111, 5, 3},
      {{0x21, 0x11, 0x11}, JPG_OK, 2, 1, 4, 0x211111, 3, 3},
      {{0x12, 0x11, 0x11}, JPG_OK, 1, 2, 4, 0x121111, 5, 2},
      {{0x22, 0x11, 0x11}, JPG_OK, 2, 2, 6, 0x221111, 3, 2},
      {{0x22, 0x21, 0x12, 0x11}, JPG_OK, 2, 2, 9, 0x22211211, 3, 2},
      {{0x12, 0x21}, JPG_OK, 2, 2, 4, 0x1221, 3, 2},
      {{0x22, 0x20, 0x11}, JPG_OK, 2, 2, 9, 0x222011, 3, 2},  // as many blocks as the one before
      {{0x20, 0x11}, JPG_OK, 2, 1, 1, 0x2011, 3, 3},          // none for the first
      {{0x31, 0x11, 0x11}, JPG_E_UNSUPPORTED, 0, 0, 0, 0, 0, 0},
      {{0x11, 0x13, 0x11}, JPG_E_UNSUPPORTED, 0, 0, 0, 0, 0, 0},
      {{0x11, 0x11, 0x11, 0x11, 0x11}, JPG_E_UNSUPPORTED, 0, 0, 0, 0, 0, 0},
      {{}, JPG_E_UNSUPPORTED, 0, 0, 0, 0, 0, 0},
  };
  for (const Frame &frame : kFrames) {
    BitStream b(frameOf(frame.sampling));
    JpgContext *c = b.context();
    const size_t index = static_cast<size_t>(&frame - kFrames);
    ASSERT_EQ(readFrameHeader(c), frame.result) << index;
    if (frame.result != JPG_OK) continue;
    EXPECT_EQ(c->precision, 8u);
    EXPECT_EQ(c->width, 33u);
    EXPECT_EQ(c->height, 17u);
    EXPECT_EQ(c->hMax, frame.hMax) << index;
    EXPECT_EQ(c->vMax, frame.vMax) << index;
    EXPECT_EQ(c->hvMax, frame.hMax * frame.vMax) << index;
    EXPECT_EQ(c->hvMaxTimesNf, frame.hMax * frame.vMax * c->numComponents) << index;
    EXPECT_EQ(c->lumaBlockSlots, 4 * frame.hMax * frame.vMax) << index;
    EXPECT_EQ(c->mcuWidth, 8 * frame.hMax) << index;
    EXPECT_EQ(c->mcuHeight, 8 * frame.vMax) << index;
    EXPECT_EQ(c->blocksPerMcu, frame.blocks) << index;
    EXPECT_EQ(c->samplingPacked, frame.packed) << index;
    EXPECT_EQ(c->mcusPerRow, frame.mcusPerRow) << index;
    EXPECT_EQ(c->mcuRows, frame.mcuRows) << index;
    EXPECT_EQ(c->mcuCount, frame.mcusPerRow * frame.mcuRows) << index;
  }
}

TEST(FrameHeader, RefusesAQuantisationTableAbove3) {
  for (uint8_t tq = 0; tq < 6; tq++) {
    Bytes data = frameOf({0x11});
    data.back() = tq;
    BitStream b(data);
    EXPECT_EQ(readFrameHeader(b.context()), tq < 4 ? JPG_OK : JPG_E_UNSUPPORTED) << int{tq};
  }
}

}  // namespace
