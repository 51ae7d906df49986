// SPDX-License-Identifier: MIT
// Lenient reading: the calls. Bands, scales, bitmaps and passes give the same picture, whatever
// happens between them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "model/losslessWriter.h"
#include "read/lenient.h"
#include "support/canvas.h"
#include "support/progressiveStream.h"
#include "support/reader.h"

namespace jpgtest {
namespace {

// Streams of the same picture: as they come, in scans, and progressively.
struct Streams {
  Picture picture;
  std::vector<Bytes> all;
  explicit Streams(uint16_t interval = 0) {
    picture = makePicture(75, 59, {0x22, 0x11, 0x11}, Fill::kSmooth, 41);
    picture.restartInterval = interval;
    all = {encode(picture), encodeInScans(picture, {{0}, {1, 2}}),
           encodeProgressive(picture, refiningScript(3))};
  }
};

TEST(LenientCalls, BandsOfAnyHeightGiveTheWholePicture) {
  for (const Bytes &stream : Streams().all) {
    for (const uint32_t options : {JPG_READ_LENIENT, JPG_READ_LENIENT | JPG_READ_SMOOTH,
                                   JPG_READ_LENIENT | JPG_READ_SMOOTH | JPG_READ_ACCURATE}) {
      const Bytes expected = show(stream, 3, options).pixels;
      for (const int32_t band : {1, 2, 7, 8, 15, 16, 17, 33}) {
        SCOPED_TRACE(band);
        const Reader reader = Reader::ofMemory(stream, options);
        Canvas canvas(75, 59, 3);
        for (int32_t row = 0; row < 59; row += band) {
          const JpgRect rect = canvas.rect(row);
          ASSERT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, std::min(band, 59 - row)));
        }
        EXPECT_EQ(expected == canvas.pixels(), true);
        EXPECT_TRUE(canvas.guardsIntact());
        const JpgRect rect = canvas.rect();
        EXPECT_RESULT(JPG_E_FAIL, jpgReadToRect(reader.handle(), &rect, 1));
      }
    }
  }
}

TEST(LenientCalls, MoreRowsThanRemainAreCutAndNoneAreNone) {
  for (const Bytes &stream : Streams().all) {
    const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
    Canvas canvas(75, 59, 3);
    const JpgRect rect = canvas.rect();
    EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 0));
    EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, -5));
    EXPECT_TRUE(canvas.untouched());
    EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 1000));
    EXPECT_EQ(show(stream, 3).pixels == canvas.pixels(), true);
    EXPECT_TRUE(canvas.guardsIntact());
  }
}

TEST(LenientCalls, EveryProcessIsScaled) {
  const Streams streams;
  for (const int32_t scale :
       {JPG_SCALE_EIGHTH, JPG_SCALE_QUARTER, JPG_SCALE_HALF, JPG_SCALE_FULL}) {
    SCOPED_TRACE(scale);
    uint32_t width = 0, height = 0;
    const auto scaled = [&](const Bytes &stream, uint32_t flags, int32_t band) {
      const Reader reader = Reader::ofMemory(stream, flags);
      EXPECT_RESULT(JPG_OK,
                    jpgReadScaleOutputGetImageSize(reader.handle(), &width, &height, scale));
      const auto rows = static_cast<int32_t>(height);
      Canvas canvas(static_cast<int32_t>(width), rows, 3);
      for (int32_t row = 0; row < rows; row += band) {
        const JpgRect rect = canvas.rect(row);
        EXPECT_RESULT(JPG_OK, jpgReadScaleOutputToRect(reader.handle(), &rect,
                                                       std::min(band, rows - row), scale));
      }
      const JpgRect rect = canvas.rect();
      EXPECT_RESULT(
          flags == 0 || scale == JPG_SCALE_FULL ? JPG_E_FAIL : JPG_E_INVALID_PARAMETER,
          flags == 0 ? JPG_E_FAIL : jpgReadScaleOutputToRect(reader.handle(), &rect, 1, scale));
      EXPECT_TRUE(canvas.guardsIntact());
      return canvas.pixels();
    };
    const Bytes expected = scaled(streams.all[0], 0, 1000);
    for (const Bytes &stream : streams.all) {
      for (const int32_t band : {1, 3, 1000}) {
        EXPECT_EQ(expected == scaled(stream, JPG_READ_LENIENT, band), true) << band;
      }
    }
  }
}

TEST(LenientCalls, AChangeOfTheScaleBeginsThePictureAgain) {
  for (const Bytes &stream : Streams().all) {
    const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
    Canvas small(10, 8, 3), large(75, 59, 3);
    JpgRect rect = small.rect();
    EXPECT_RESULT(JPG_OK, jpgReadScaleOutputToRect(reader.handle(), &rect, 5, JPG_SCALE_EIGHTH));
    rect = large.rect();
    EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 59));
    EXPECT_EQ(show(stream, 3).pixels == large.pixels(), true);
  }
}

TEST(LenientCalls, ScalesAreCheckedAndLosslessPicturesHaveOnlyTheWholeOne) {
  const Reader reader = Reader::ofMemory(Streams().all[0], JPG_READ_LENIENT);
  Canvas canvas(75, 59, 3);
  const JpgRect rect = canvas.rect();
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgReadScaleOutputToRect(reader.handle(), &rect, 1, -1));
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgReadScaleOutputToRect(reader.handle(), &rect, 1, 4));
  const Reader lossless = Reader::ofMemory(modelSpatial(SpatialJob{}), JPG_READ_LENIENT);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadScaleOutputToRect(lossless.handle(), &rect, 1, 2));
  uint32_t width = 0, height = 0;
  EXPECT_RESULT(JPG_E_UNSUPPORTED,
                jpgReadScaleOutputGetImageSize(lossless.handle(), &width, &height, 2));
  EXPECT_RESULT(JPG_OK, jpgReadScaleOutputToRect(lossless.handle(), &rect, 1, JPG_SCALE_FULL));
}

TEST(LenientCalls, ProgressivePicturesGrowScanByScan) {
  const Picture picture = makePicture(43, 37, {0x22, 0x11, 0x11}, Fill::kSmooth, 42);
  const Script script = refiningScript(3);
  const Reader usual = Reader::ofMemory(encodeProgressive(picture, script));
  const Reader lenient = Reader::ofMemory(encodeProgressive(picture, script), JPG_READ_LENIENT);
  Canvas expected(43, 37, 3), canvas(43, 37, 3);
  for (size_t scan = 0; scan < script.size(); scan++) {
    for (const int32_t row : {0, 16, 32}) {
      const int32_t rows = std::min(16, 37 - row);
      const JpgRect theirs = expected.rect(row), ours = canvas.rect(row);
      ASSERT_RESULT(JPG_OK, jpgReadProgressiveToRect(usual.handle(), &theirs, rows, 1));
      ASSERT_RESULT(JPG_OK, jpgReadProgressiveToRect(lenient.handle(), &ours, rows, 1));
    }
    EXPECT_EQ(expected.pixels() == canvas.pixels(), true) << scan;
  }
  const JpgRect rect = canvas.rect();
  EXPECT_RESULT(JPG_NO_DATA, jpgReadProgressiveToRect(lenient.handle(), &rect, 37, 1));
}

TEST(LenientCalls, AProgressivePassMayBeginBehindARestartSeek) {
  const Bytes stream = Streams(5).all[2];
  const Bytes whole = show(stream, 3).pixels;
  const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
  ASSERT_RESULT(JPG_OK, jpgReadSeekRestartMarker(reader.handle(), 2, 0));
  Canvas canvas(75, 27, 3);
  const JpgRect rect = canvas.rect();
  ASSERT_RESULT(JPG_OK, jpgReadProgressiveToRect(reader.handle(), &rect, 27, 0));
  EXPECT_EQ(Bytes(whole.begin() + 32 * 75 * 3, whole.end()) == canvas.pixels(), true);
}

TEST(LenientCalls, ThePassUnderWayMayBeEndedByAllScans) {
  const Picture picture = makePicture(43, 37, {0x22, 0x11, 0x11}, Fill::kSmooth, 43);
  const Bytes stream = encodeProgressive(picture, refiningScript(3));
  const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
  Canvas canvas(43, 37, 3);
  const JpgRect rect = canvas.rect();
  ASSERT_RESULT(JPG_OK, jpgReadProgressiveToRect(reader.handle(), &rect, 37, 1));
  ASSERT_RESULT(JPG_OK, jpgReadProgressiveToRect(reader.handle(), &rect, 37, 0));
  EXPECT_EQ(show(stream, 3).pixels == canvas.pixels(), true);
  EXPECT_RESULT(JPG_E_FAIL, jpgReadProgressiveToRect(reader.handle(), &rect, 37, 0));
}

TEST(LenientCalls, WalksAlongTheSegmentsBetweenBandsLoseNothing) {
  for (const uint16_t interval : Words{0, 3}) {
    for (const Bytes &stream : Streams(interval).all) {
      const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
      Canvas canvas(75, 59, 3);
      for (int32_t row = 0; row < 59; row += 10) {
        uint16_t marker = 0;
        uint32_t length = 0;
        for (int i = 0; i < row / 10; i++) {
          const int32_t mode = i == 0 ? JPG_SEGMENT_FIRST : JPG_SEGMENT_NEXT;
          jpgReadSeekMarkerSegment(reader.handle(), mode, &marker, &length);
          uint8_t data[9];
          jpgReadReadMarkerData(reader.handle(), data, sizeof data, nullptr);
        }
        const JpgRect rect = canvas.rect(row);
        ASSERT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, std::min(10, 59 - row)));
      }
      EXPECT_EQ(show(stream, 3).pixels == canvas.pixels(), true);
    }
  }
}

TEST(LenientCalls, RestartSeeksLeadToTheRowsOfTheInterval) {
  for (const Bytes &stream : Streams(5).all) {  // 5 MCUs a row
    const Bytes whole = show(stream, 3).pixels;
    const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
    for (const int32_t interval : {2, 1, 3, 0}) {
      SCOPED_TRACE(interval);
      ASSERT_RESULT(JPG_OK, jpgReadSeekRestartMarker(reader.handle(), interval, 0));
      Canvas canvas(75, 59 - 16 * interval, 3);
      const JpgRect rect = canvas.rect();
      ASSERT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 100));
      EXPECT_EQ(Bytes(whole.begin() + 16 * interval * 75 * 3, whole.end()) == canvas.pixels(),
                true);
    }
    ASSERT_RESULT(JPG_OK, jpgReadSeekRestartMarker(reader.handle(), 1, 0));
    Canvas canvas(75, 11, 3);
    JpgRect rect = canvas.rect();
    ASSERT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 5));
    ASSERT_RESULT(JPG_OK, jpgReadSeekRestartMarker(reader.handle(), 2, 1));
    ASSERT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 11));
    EXPECT_EQ(Bytes(whole.begin() + 48 * 75 * 3, whole.end()) == canvas.pixels(), true);
    EXPECT_RESULT(JPG_NO_DATA, jpgReadSeekRestartMarker(reader.handle(), 4, 0));
    EXPECT_RESULT(JPG_NO_DATA, jpgReadSeekRestartMarker(reader.handle(), 0x7FFFFFFF, 1));
  }
}

TEST(LenientCalls, WithoutColourConversionTheRectangleMustTakeAllComponents) {
  const Streams streams;
  EXPECT_RESULT(JPG_E_UNSUPPORTED, showRaw(streams.all[0], 2).result);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, showRaw(streams.all[2], 4).result);
  EXPECT_RESULT(JPG_OK, showRaw(streams.all[1], 3).result);
}

TEST(LenientCalls, PiecesAreReadByTheRules) {
  const Bytes stream = Streams().all[1];  // in scans of their own
  EXPECT_RESULT(JPG_E_UNSUPPORTED,
                show(stream, 3, JPG_READ_LENIENT | JPG_READ_PARTIAL_BITSTREAM).result);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, show(stream, 3, 0).result);
  EXPECT_RESULT(JPG_OK, show(stream, 3).result);
}

TEST(LenientCalls, StrayBitsAskForNothing) {
  const Bytes stream = Streams().all[1];
  for (const uint32_t flags : {0x400U, 0x00000400U, 0x4A510400U, 0xFFFFFFFFU & ~7U}) {
    EXPECT_RESULT(JPG_E_UNSUPPORTED, show(stream, 3, flags | JPG_READ_COMPLETE).result);
  }
}

TEST(LenientSegments, TheNextOneOfAPlaceWithinCodedDataIsBehindThem) {
  const Picture picture = makePicture(64, 64, {0x11}, Fill::kDense, 66);
  const Bytes stream = encodeInScans(picture, {{0}}), expected = show(stream, 1).pixels;
  const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
  Canvas canvas(64, 64, 1);
  for (int32_t row = 0; row < 64; row += 8) {
    const JpgRect rect = canvas.rect(row);
    ASSERT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 8));
    uint16_t marker = 0;
    uint32_t length = 99;
    EXPECT_RESULT(JPG_OK, jpgReadSeekMarkerSegment(reader.handle(), 1, &marker, &length)) << row;
    EXPECT_EQ(0xFFD9, marker) << row;
    EXPECT_EQ(0U, length) << row;
  }
  EXPECT_EQ(expected, canvas.pixels());
}

TEST(LenientSegments, BehindTheLastOneThereIsNoMarkerAndNoLength) {
  const Bytes stream = encode(makePicture(8, 8, {0x11}));
  const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
  uint16_t marker = 99;
  uint32_t length = 99, result = JPG_OK;
  for (int32_t i = 0; i < 10 && result == JPG_OK; i++) {
    result = jpgReadSeekMarkerSegment(reader.handle(), i == 0 ? 0 : 1, &marker, &length);
  }
  EXPECT_RESULT(JPG_E_NOT_JPEG, result);
  EXPECT_EQ(0, marker);
  EXPECT_EQ(0U, length);
}

// ---- Bitmaps ----------------------------------------------------------------

struct Bitmap {
  BITMAPINFOHEADER header = {};
  RGBQUAD colors[256] = {};
  BITMAPINFO *bmi() { return reinterpret_cast<BITMAPINFO *>(&header); }
};

// The picture by the bitmap reader, top-down and without the rows' padding.
Shown showBitmap(const Bytes &stream, uint16_t depth, bool progressive) {
  Shown shown;
  const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
  Bitmap bitmap;
  bitmap.header.biBitCount = depth;
  EXPECT_RESULT(JPG_OK, jpgReadToWinDIBits(reader.handle(), 0, nullptr, bitmap.bmi()));
  const int32_t width = bitmap.header.biWidth, height = bitmap.header.biHeight;
  bitmap.header.biHeight = -height;
  const int32_t used = width * bitmap.header.biBitCount / 8, stride = (used + 3) / 4 * 4;
  Bytes bits(static_cast<size_t>(stride * height));
  shown.result =
      progressive
          ? jpgReadProgressiveToWinDIBits(reader.handle(), height, bits.data(), bitmap.bmi(), 0)
          : jpgReadToWinDIBits(reader.handle(), height, bits.data(), bitmap.bmi());
  for (int32_t y = 0; y < height; y++) {
    shown.pixels.insert(shown.pixels.end(), bits.begin() + y * stride,
                        bits.begin() + y * stride + used);
  }
  return shown;
}

TEST(LenientBitmaps, TakeEveryProcess) {
  for (const Bytes &stream : Streams().all) {
    const Shown shown = showBitmap(stream, 24, false);
    EXPECT_RESULT(JPG_OK, shown.result);
    EXPECT_EQ(show(stream, 3).pixels == shown.pixels, true);
  }
  const Bytes progressive = Streams().all[2];
  EXPECT_EQ(show(progressive, 3).pixels == showBitmap(progressive, 24, true).pixels, true);
  const Bytes lossless = modelSpatial(SpatialJob{});
  EXPECT_EQ(show(lossless, 1).pixels == showBitmap(lossless, 8, false).pixels, true);
}

TEST(LenientBitmaps, OfTwoComponentsAreGreyAndOfFourColoured) {
  for (const std::vector<uint8_t> &samplings :
       {std::vector<uint8_t>{0x11, 0x21}, std::vector<uint8_t>{0x22, 0x11, 0x11, 0x22}}) {
    const Bytes stream = encode(makePicture(30, 20, samplings));
    const uint32_t bytes = samplings.size() < 3 ? 1 : 3;
    const Shown shown = showBitmap(stream, static_cast<uint16_t>(8 * bytes), false);
    EXPECT_RESULT(JPG_OK, shown.result);
    EXPECT_EQ(show(stream, bytes).pixels == shown.pixels, true);
  }
}

TEST(LenientBitmaps, ThatAreDamagedAreReducedAllTheSame) {
  Bytes cut = Streams().all[0];
  cut.resize(cut.size() - 100);
  for (const uint16_t depth : Words{8, 16, 24}) {
    const Shown shown = showBitmap(cut, depth, false);
    EXPECT_RESULT(JPG_E_DAMAGED, shown.result);
    const Bytes first(shown.pixels.begin(), shown.pixels.begin() + 75 * depth / 8 * 8);
    const Shown whole = showBitmap(Streams().all[0], depth, false);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), whole.pixels.begin()));
    // Rows of flat colour follow, but they aren't those of empty memory.
    EXPECT_TRUE(std::any_of(shown.pixels.end() - 75 * depth / 8, shown.pixels.end(),
                            [](uint8_t b) { return b != 0; }));
  }
}

// ---- 12 bits ----------------------------------------------------------------

// Flat blocks: a DC value of d with a step of 8 is a level of d above the middle.
Picture deepPicture(const std::vector<int32_t> &levels) {
  std::vector<Block> blocks;
  for (const int32_t level : levels) blocks.push_back(dcBlock(level));
  Picture picture = grayPicture(blocks);
  picture.sof = kSof1;
  picture.precision = 12;
  picture.quant[0] = flatQuant(8);
  useLongTables(picture);
  return picture;
}

TEST(LenientDeep, SamplesOf12BitsAreRoundedTo8) {
  const std::vector<int32_t> levels = {-2048, -1000, -1, 0, 7, 8, 1000, 2047};
  const Shown shown = show(encode(deepPicture(levels)), 1);
  ASSERT_RESULT(JPG_OK, shown.result);
  for (size_t i = 0; i < levels.size(); i++) {
    const int expected = std::min((levels[i] + 2048 + 8) / 16, 255);
    EXPECT_EQ(expected, int{shown.pixels[8 * i]}) << levels[i];
  }
}

TEST(LenientDeep, AnyPrecisionAbove8IsTakenFor12Bits) {
  const std::vector<int32_t> levels = {-2048, -1000, -1, 0, 7, 8, 1000, 2047};
  Picture picture = deepPicture(levels);
  const Shown expected = show(encode(picture), 1);
  for (const uint8_t precision : Bytes{9, 10, 15, 255}) {
    picture.precision = precision;
    const Shown shown = show(encode(picture), 1);
    EXPECT_RESULT(expected.result, shown.result) << int{precision};
    EXPECT_EQ(expected.pixels, shown.pixels) << int{precision};
  }
}

TEST(LenientDeep, SamplesOf12BitsFillWordsOfARectangleOf16Bits) {
  const std::vector<int32_t> levels = {-2048, -1000, -1, 0, 7, 8, 1000, 2047};
  const Bytes stream = encode(deepPicture(levels));
  const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
  std::vector<uint16_t> words(64 * 8, 0xA5A5);
  JpgRect rect = {};
  rect.width = 64;
  rect.stride = 128;
  rect.bitsPerPixel = rect.bitsPerSample = 16;
  rect.bits = words.data();
  ASSERT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, 8));
  for (size_t i = 0; i < levels.size(); i++) EXPECT_EQ(levels[i] + 2048, words[8 * i]);
}

// ---- Lossless ---------------------------------------------------------------

struct LosslessCall {
  explicit LosslessCall(const SpatialJob &job, int32_t bitsPerPixel, int32_t bitsPerSample = 8)
      : reader(Reader::ofMemory(modelSpatial(job), JPG_READ_LENIENT)),
        bytes(static_cast<size_t>(bitsPerPixel) / 8),
        pixels(job.width * job.height * bytes) {
    rect.width = static_cast<int32_t>(job.width);
    rect.stride = static_cast<int32_t>(job.width * bytes);
    rect.bitsPerPixel = bitsPerPixel;
    rect.bitsPerSample = bitsPerSample;
    rect.bits = pixels.data();
  }
  uint32_t read(int32_t lines) {
    const uint32_t r = jpgReadToRect(reader.handle(), &rect, lines);
    rect.bits = static_cast<uint8_t *>(rect.bits) + lines * rect.stride;
    return r;
  }
  Reader reader;
  size_t bytes;
  Bytes pixels;
  JpgRect rect = {};
};

TEST(LenientLossless, BandsNeedNoSpareRow) {
  for (uint32_t components : {1U, 3U}) {
    for (uint32_t predictor = 1; predictor <= 7; predictor++) {
      SpatialJob job;
      job.components = components;
      job.predictor = predictor;
      Bytes expected = packed(samplesOf(job), 8);
      for (size_t i = 0; components == 3 && i < expected.size(); i += 3) {
        std::swap(expected[i], expected[i + 2]);
      }
      LosslessCall call(job, static_cast<int32_t>(8 * components));
      for (const int32_t lines : {1, 4, 0, 2}) EXPECT_RESULT(JPG_OK, call.read(lines));
      EXPECT_RESULT(JPG_OK, call.read(4));
      EXPECT_EQ(expected, call.pixels);
      EXPECT_RESULT(JPG_E_FAIL, call.read(1));
    }
  }
}

TEST(LenientLossless, WalksAlongTheSegmentsBetweenBandsLoseNothing) {
  for (const uint32_t restart : {0U, 26U}) {
    SpatialJob job;
    job.restart = restart;
    LosslessCall call(job, 8);
    for (int32_t row = 0; row < 11; row++) {
      uint16_t marker = 0;
      uint32_t length = 0;
      for (int32_t i = 0; i < row % 4; i++) {
        jpgReadSeekMarkerSegment(call.reader.handle(), i == 0 ? 0 : 1, &marker, &length);
      }
      EXPECT_RESULT(JPG_OK, call.read(1));
    }
    EXPECT_EQ(packed(samplesOf(job), 8), call.pixels);
  }
}

TEST(LenientLossless, RestartSeeksLeadToTheRowsOfTheInterval) {
  SpatialJob job;
  job.restart = 26;  // two rows
  const Bytes expected = packed(samplesOf(job), 8);
  LosslessCall call(job, 8);
  uint16_t marker = 0;
  uint32_t length = 0;
  EXPECT_RESULT(JPG_OK, call.read(3));
  jpgReadSeekMarkerSegment(call.reader.handle(), JPG_SEGMENT_FIRST, &marker, &length);
  ASSERT_RESULT(JPG_OK, jpgReadSeekRestartMarker(call.reader.handle(), 3, 0));
  call.rect.bits = call.pixels.data();
  ASSERT_RESULT(JPG_OK, call.read(5));
  EXPECT_TRUE(std::equal(expected.begin() + 6 * 13, expected.end(), call.pixels.begin()));
}

TEST(LenientLossless, DeepSamplesNeedWords) {
  SpatialJob job;
  job.precision = 13;
  LosslessCall bytes(job, 8), words(job, 16, 16);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, bytes.read(11));
  EXPECT_RESULT(JPG_OK, words.read(11));
  EXPECT_EQ(packed(samplesOf(job), 13), words.pixels);
}

TEST(LenientLossless, ColumnsBeyondTheRectanglesWidthArentStored) {
  SpatialJob job;
  const Bytes expected = packed(samplesOf(job), 8);
  for (const int32_t width : {-1, 0, 5, 13, 20}) {
    LosslessCall call(job, 8);
    std::fill(call.pixels.begin(), call.pixels.end(), uint8_t{0xA5});
    call.rect.width = width;
    EXPECT_RESULT(JPG_OK, call.read(11));
    for (size_t i = 0; i < call.pixels.size(); i++) {
      const bool stored = static_cast<int32_t>(i % 13) < width;
      ASSERT_EQ(stored ? expected[i] : 0xA5, call.pixels[i]);
    }
  }
}

TEST(LenientLossless, WithoutColourConversionComponentsKeepTheirOrder) {
  SpatialJob job;
  job.components = 3;
  LosslessCall call(job, 24), narrow(job, 8);
  jpgReadSetNoColorConversion(call.reader.handle());
  jpgReadSetNoColorConversion(narrow.reader.handle());
  EXPECT_RESULT(JPG_OK, call.read(11));
  EXPECT_EQ(packed(samplesOf(job), 8), call.pixels);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, narrow.read(11));
}

TEST(LenientLossless, WithoutDataWordsAreGrey) {
  SpatialJob job;
  job.precision = 13;
  Bytes stream = modelSpatial(job);
  size_t sos = 0;
  while (stream[sos] != 0xFF || stream[sos + 1] != kSos) sos++;
  stream.resize(sos + 10);
  const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
  std::vector<uint16_t> words(13 * 11);
  JpgRect rect = {};
  rect.width = 13;
  rect.stride = 26;
  rect.bitsPerPixel = rect.bitsPerSample = 16;
  rect.bits = words.data();
  EXPECT_RESULT(JPG_E_DAMAGED, jpgReadToRect(reader.handle(), &rect, 11));
  EXPECT_EQ(std::vector<uint16_t>(13 * 11, 1 << 12), words);
}

TEST(LenientLossless, APrecisionOrAScanThatIsNotServedIsRefused) {
  SpatialJob job;
  job.components = 3;
  const Bytes stream = modelSpatial(job);
  size_t sof = 0, sos = 0;
  while (stream[sof] != 0xFF || stream[sof + 1] != kSof3) sof++;
  while (stream[sos] != 0xFF || stream[sos + 1] != kSos) sos++;
  for (const uint8_t precision : Bytes{1, 17}) {
    Bytes odd = stream;
    odd[sof + 4] = precision;
    EXPECT_RESULT(JPG_E_NOT_JPEG, show(odd, 3).result);
  }
  Bytes single = stream;
  single[sos + 4] = 1;  // components of the scan
  EXPECT_RESULT(JPG_E_UNSUPPORTED, show(single, 3).result);
}

TEST(LenientLossless, FourComponentsNeed32Bits) {
  SpatialJob job;
  job.components = 4;
  LosslessCall three(job, 24), four(job, 32);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, three.read(11));
  EXPECT_RESULT(JPG_OK, four.read(11));
  EXPECT_EQ(packed(samplesOf(job), 8), four.pixels);
}

TEST(LenientLossless, RowsBehindDamageRepeatTheLastGoodOne) {
  SpatialJob job;
  job.width = 40;
  job.height = 30;
  Bytes stream = modelSpatial(job);
  const Bytes expected = packed(samplesOf(job), 8);
  stream.resize(stream.size() / 2);
  const Shown shown = show(stream, 1);
  ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
  size_t good = 0;
  while (std::equal(expected.begin(), expected.begin() + static_cast<ptrdiff_t>(40 * good + 40),
                    shown.pixels.begin())) {
    good++;
  }
  EXPECT_GT(good, 5U);
  // The row that was under way holds what could be read by chance; those behind it don't differ.
  const Bytes last(shown.pixels.end() - 40, shown.pixels.end());
  for (size_t row = good + 2; row < 30; row++) {
    EXPECT_TRUE(std::equal(last.begin(), last.end(),
                           shown.pixels.begin() + static_cast<ptrdiff_t>(40 * row)));
  }
}

TEST(LenientLossless, WithoutDataThePictureIsGrey) {
  SpatialJob job;
  Bytes stream = modelSpatial(job);
  size_t sos = 0;
  while (stream[sos] != 0xFF || stream[sos + 1] != kSos) sos++;
  stream.resize(sos + 10);
  const Shown shown = show(stream, 1);
  EXPECT_RESULT(JPG_E_DAMAGED, shown.result);
  EXPECT_EQ(Bytes(13 * 11, 128), shown.pixels);
}

}  // namespace
}  // namespace jpgtest
